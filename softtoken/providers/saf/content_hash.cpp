#include "softtoken/providers/saf/content_hash.h"

#include <openssl/ec.h>
#include <openssl/obj_mac.h>

#include "protocol/identifiers.h"
#include "softtoken/crypto/certificate.h"

namespace velm::token {
namespace {

using CurveGroup = Handle<EC_GROUP, EC_GROUP_free>;

constexpr size_t kCoordinateSize = 32;
// GM/T 0009 stores the length of the user ID in bits as a 16-bit number.
constexpr size_t kMaxIdSize = 8191;

class Hasher {
 public:
  explicit Hasher(DigestId digest) : context_(allocated(EVP_MD_CTX_new())) {
    require(EVP_DigestInit_ex(context_.get(), digest_of(digest), nullptr) == 1, kUnknownError);
  }
  void add(ByteView data) {
    require(EVP_DigestUpdate(context_.get(), data.data(), data.size()) == 1, kUnknownError);
  }
  Bytes finish() {
    Bytes value(static_cast<size_t>(EVP_MD_CTX_get_size(context_.get())));
    require(EVP_DigestFinal_ex(context_.get(), value.data(), nullptr) == 1, kUnknownError);
    return value;
  }

 private:
  DigestContext context_;
};

// The curve parameters a and b and the generator, in the order in which Z covers them.
Bytes curve_parameters() {
  const CurveGroup group(allocated(EC_GROUP_new_by_curve_name(NID_sm2)));
  const Number a(allocated(BN_new()));
  const Number b(allocated(BN_new()));
  Bytes bytes(2 * kCoordinateSize);
  const bool known = EC_GROUP_get_curve(group.get(), nullptr, a.get(), b.get(), nullptr) == 1 &&
                     BN_bn2binpad(a.get(), bytes.data(), kCoordinateSize) > 0 &&
                     BN_bn2binpad(b.get(), bytes.data() + kCoordinateSize, kCoordinateSize) > 0;
  require(known, kUnknownError);
  uint8_t generator[1 + 2 * kCoordinateSize];
  const size_t length =
      EC_POINT_point2oct(group.get(), EC_GROUP_get0_generator(group.get()), POINT_CONVERSION_UNCOMPRESSED,
                         generator, sizeof generator, nullptr);
  require(length == sizeof generator, kUnknownError);
  bytes.insert(bytes.end(), generator + 1, generator + sizeof generator);
  return bytes;
}

}  // namespace

Bytes signer_prefix(const EVP_PKEY* key, ByteView id) {
  require(kind_of(key) == KeyKind::sm2, kAlgorithmUnsupported);
  require(id.size() <= kMaxIdSize, kBadLength);
  const size_t bits = id.size() * 8;
  const uint8_t bit_count[] = {static_cast<uint8_t>(bits >> 8), static_cast<uint8_t>(bits)};
  Hasher hasher(DigestId::sm3);
  hasher.add(bit_count);
  hasher.add(id);
  hasher.add(curve_parameters());
  hasher.add(ByteView(public_key_bytes(key)).subspan(1));
  return hasher.finish();
}

Bytes signed_prefix(const EVP_PKEY* key, ByteView id) {
  if (kind_of(key) == KeyKind::rsa) return {};
  return signer_prefix(key, id.empty() ? as_bytes(protocol::kDefaultUserId) : id);
}

Bytes hash_with_prefix(DigestId digest, ByteView prefix, ByteView data) {
  Hasher hasher(digest);
  hasher.add(prefix);
  hasher.add(data);
  return hasher.finish();
}

Bytes signed_hash_of(X509* signer, DigestId digest, ByteView data) {
  return hash_with_prefix(digest, signed_prefix(key_of(signer).get(), {}), data);
}

Bytes hash_file(DigestId digest, ByteView prefix, const std::string& path) {
  Hasher hasher(digest);
  hasher.add(prefix);
  InputFile file(path);
  for (ByteView piece; !(piece = file.read()).empty();) hasher.add(piece);
  return hasher.finish();
}

}  // namespace velm::token

#include "softtoken/crypto/keys.h"

#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/param_build.h>

namespace velm::token {
namespace {

constexpr size_t kPointSize = 65;
constexpr uint8_t kUncompressed = 4;

Key sm2_key_from_point(ByteView point) {
  char group[] = "SM2";
  OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_PKEY_PARAM_GROUP_NAME, group, 0),
                             OSSL_PARAM_construct_octet_string(
                                 OSSL_PKEY_PARAM_PUB_KEY, const_cast<uint8_t*>(point.data()), point.size()),
                             OSSL_PARAM_construct_end()};
  const KeyContext context(allocated(EVP_PKEY_CTX_new_from_name(nullptr, "SM2", nullptr)));
  EVP_PKEY* key = nullptr;
  const bool made = EVP_PKEY_fromdata_init(context.get()) == 1 &&
                    EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_PUBLIC_KEY, parameters) == 1;
  require(made, kBadInput);
  return Key(key);
}

// Returns null unless the decoder consumes all bytes.
template <typename Decoder>
Key try_decode(Decoder decode, ByteView bytes) {
  const uint8_t* at = bytes.data();
  Key key(decode(&at, static_cast<long>(bytes.size())));
  ERR_clear_error();
  return at == bytes.data() + bytes.size() ? std::move(key) : nullptr;
}

}  // namespace

Key generate_sm2_key() {
  return Key(require_pointer(EVP_PKEY_Q_keygen(nullptr, nullptr, "SM2"), kUnknownError));
}

Key generate_rsa_key(unsigned bits) {
  return Key(require_pointer(EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", size_t{bits}), kUnknownError));
}

Key generate_key(KeyKind kind, unsigned rsa_bits) {
  return kind == KeyKind::sm2 ? generate_sm2_key() : generate_rsa_key(rsa_bits);
}

KeyKind kind_of(const EVP_PKEY* key) {
  if (EVP_PKEY_is_a(key, "RSA")) return KeyKind::rsa;
  require(EVP_PKEY_is_a(key, "SM2"), kAlgorithmUnsupported);
  return KeyKind::sm2;
}

unsigned bits_of(const EVP_PKEY* key) { return static_cast<unsigned>(EVP_PKEY_get_bits(key)); }

SecretBytes private_key_der(const EVP_PKEY* key) {
  const Handle<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free> info(EVP_PKEY2PKCS8(key));
  require(info != nullptr, kUnknownError);
  const int length = i2d_PKCS8_PRIV_KEY_INFO(info.get(), nullptr);
  require(length > 0, kUnknownError);
  SecretBytes der(static_cast<size_t>(length));
  uint8_t* end = der.data();
  require(i2d_PKCS8_PRIV_KEY_INFO(info.get(), &end) == length, kUnknownError);
  return der;
}

Key private_key_from_der(ByteView der) {
  const uint8_t* at = der.data();
  return Key(require_pointer(d2i_AutoPrivateKey(nullptr, &at, static_cast<long>(der.size())), kBadInput));
}

Bytes public_key_bytes(const EVP_PKEY* key) {
  if (kind_of(key) == KeyKind::rsa) return der_of<const EVP_PKEY>(i2d_PublicKey, key);
  Bytes point(kPointSize);
  size_t length = 0;
  const int found = EVP_PKEY_get_octet_string_param(key, OSSL_PKEY_PARAM_ENCODED_PUBLIC_KEY, point.data(),
                                                    point.size(), &length);
  require(found == 1 && length == kPointSize, kUnknownError);
  return point;
}

Key public_key_from(ByteView bytes) {
  if (bytes.size() == kPointSize && bytes[0] == kUncompressed) return sm2_key_from_point(bytes);
  using Source = const uint8_t**;
  Key key = try_decode(
      [](Source at, long size) {
        const Certificate certificate(d2i_X509(nullptr, at, size));
        return certificate ? X509_get_pubkey(certificate.get()) : nullptr;
      },
      bytes);
  if (!key) key = try_decode([](Source at, long size) { return d2i_PUBKEY(nullptr, at, size); }, bytes);
  if (!key)
    key = try_decode([](Source at, long size) { return d2i_PublicKey(EVP_PKEY_RSA, nullptr, at, size); },
                     bytes);
  require(key != nullptr, kBadInput);
  kind_of(key.get());
  return key;
}

}  // namespace velm::token

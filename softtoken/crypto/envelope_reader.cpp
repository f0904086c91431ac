#include "softtoken/crypto/envelope_reader.h"

#include "softtoken/crypto/content_info.h"
#include "softtoken/crypto/der_element.h"
#include "softtoken/crypto/symmetric_cipher.h"

namespace velm::token {
namespace {

using Recipient = Handle<PKCS7_RECIP_INFO, PKCS7_RECIP_INFO_free>;

// The elements before the content are small. Larger lengths are rejected instead of read into memory.
constexpr uint64_t kMaxHeadPart = 1024 * 1024;

/** Reads DER elements from a stream of known length. */
class ElementReader {
 public:
  ElementReader(const ByteSource& source, uint64_t length) : source_(source), left_(length) {}

  DerHeader header(uint8_t tag) {
    const auto found = read_der_header([this] { return next_byte(); });
    require(found && found->tag == tag, kEnvelopeOpenFailed);
    return *found;
  }
  /** Enters an element and returns the number of bytes that follow it in the stream. */
  uint64_t enter(uint8_t tag) {
    const uint64_t length = header(tag).length;
    require(length <= left_, kDamaged);
    return left_ - length;
  }
  /** Number of bytes left in the stream. */
  uint64_t left() const { return left_; }
  /** Reads an element including its header. */
  Bytes whole(uint8_t tag) {
    const DerHeader found = header(tag);
    require(found.length <= kMaxHeadPart, kEnvelopeOpenFailed);
    Bytes bytes = der_header(found);
    for (uint64_t i = 0; i < found.length; ++i) {
      const auto byte = next_byte();
      require(byte.has_value(), kDamaged);
      bytes.push_back(*byte);
    }
    return bytes;
  }
  /** Returns at most `limit` bytes; empty at the end of the stream. */
  ByteView next(uint64_t limit) {
    if (rest_.empty()) rest_ = source_();
    const uint64_t size = std::min({limit, left_, uint64_t{rest_.size()}});
    const ByteView part = rest_.first(static_cast<size_t>(size));
    rest_ = rest_.subspan(part.size());
    left_ -= part.size();
    return part;
  }

 private:
  std::optional<uint8_t> next_byte() {
    const ByteView byte = next(1);
    if (byte.empty()) return std::nullopt;
    return byte[0];
  }

  const ByteSource& source_;
  ByteView rest_;
  uint64_t left_;
};

void expect_object(ElementReader& reader, const char* pkcs7, const char* gm) {
  const Bytes found = reader.whole(kDerObject);
  require(found == object_der(pkcs7) || found == object_der(gm), kEnvelopeOpenFailed);
}

struct RecipientSetFreer {
  void operator()(STACK_OF(PKCS7_RECIP_INFO) * set) const {
    sk_PKCS7_RECIP_INFO_pop_free(set, PKCS7_RECIP_INFO_free);
  }
};
using RecipientSet = std::unique_ptr<STACK_OF(PKCS7_RECIP_INFO), RecipientSetFreer>;

// Decodes each element of the set as a PKCS#7 recipient.
RecipientSet decode_recipients(ByteView set_der) {
  RecipientSet set(allocated(sk_PKCS7_RECIP_INFO_new_null()));
  size_t offset = 0;
  const auto next = [&]() -> std::optional<uint8_t> {
    if (offset == set_der.size()) return std::nullopt;
    return set_der[offset++];
  };
  require(read_der_header(next).has_value(), kEnvelopeOpenFailed);
  const uint8_t* at = set_der.data() + offset;
  const uint8_t* const end = set_der.data() + set_der.size();
  while (at < end) {
    Recipient recipient(d2i_PKCS7_RECIP_INFO(nullptr, &at, static_cast<long>(end - at)));
    require(recipient != nullptr, kEnvelopeOpenFailed);
    require(sk_PKCS7_RECIP_INFO_push(set.get(), recipient.get()) > 0, kUnknownError);
    recipient.release();
  }
  return set;
}

SymmetricOperation decryption(ByteView algorithm_der, ByteView key) {
  const auto algorithm = from_der<Algorithm>(d2i_X509_ALGOR, algorithm_der, kPkcs7Format);
  const EVP_CIPHER* cipher = EVP_get_cipherbyobj(algorithm->algorithm);
  require(cipher != nullptr && EVP_CIPHER_get_mode(cipher) == EVP_CIPH_CBC_MODE, kEnvelopeOpenFailed);
  const ASN1_TYPE* iv = algorithm->parameter;
  require(iv != nullptr && ASN1_TYPE_get(iv) == V_ASN1_OCTET_STRING, kEnvelopeOpenFailed);
  require(key.size() == static_cast<size_t>(EVP_CIPHER_get_key_length(cipher)), kKeyMismatch);
  require(view_of(iv->value.octet_string).size() == static_cast<size_t>(EVP_CIPHER_get_iv_length(cipher)),
          kBadLength);
  return {algorithm.get(), key};
}

}  // namespace

std::vector<EnvelopeRecipient> recipients_in(const STACK_OF(PKCS7_RECIP_INFO) * set) {
  std::vector<EnvelopeRecipient> recipients;
  for (int i = 0; i < sk_PKCS7_RECIP_INFO_num(set); ++i) {
    const PKCS7_RECIP_INFO* recipient = sk_PKCS7_RECIP_INFO_value(set, i);
    recipients.push_back({recipient->issuer_and_serial, view_of(recipient->enc_key)});
  }
  return recipients;
}

void read_envelope(const ByteSource& envelope, uint64_t length, const ContentKeyFinder& find_key,
                   const ByteSink& plain) {
  ElementReader reader(envelope, length);
  const uint64_t behind = reader.enter(kDerSequence);
  expect_object(reader, kPkcs7Types.enveloped_data, kGmTypes.enveloped_data);
  const uint64_t behind_content = reader.enter(kDerContext0Constructed);
  const uint64_t behind_data = reader.enter(kDerSequence);
  require(behind == 0 && behind_content == 0 && behind_data == 0, kDamaged);
  reader.whole(kDerInteger);
  const RecipientSet set = decode_recipients(reader.whole(kDerSet));
  const uint64_t behind_encrypted = reader.enter(kDerSequence);
  expect_object(reader, kPkcs7Types.data, kGmTypes.data);
  const Bytes algorithm = reader.whole(kDerSequence);
  uint64_t left = reader.header(kDerContext0).length;
  require(left <= reader.left() && reader.left() - left == behind_encrypted, kDamaged);

  SymmetricOperation operation = decryption(algorithm, find_key(recipients_in(set.get())));
  const auto next_content = [&] {
    if (left == 0) return ByteView();
    const ByteView piece = reader.next(left);
    require(!piece.empty(), kDamaged);
    left -= piece.size();
    return piece;
  };
  try {
    operation.convert(next_content, plain);
  } catch (const TokenError& error) {
    throw TokenError(error.code() == kDecryptFailed ? kWrongPadding : error.code());
  }
}

}  // namespace velm::token

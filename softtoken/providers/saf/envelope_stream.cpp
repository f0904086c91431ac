#include "softtoken/providers/saf/envelope_stream.h"

#include <openssl/rand.h>

#include "softtoken/crypto/asymmetric.h"
#include "softtoken/crypto/content_info.h"
#include "softtoken/crypto/symmetric_cipher.h"
#include "softtoken/providers/saf/der_element.h"
#include "softtoken/providers/saf/saf_call.h"

namespace velm::token {

using namespace protocol;

namespace {

using Direction = SymmetricOperation::Direction;
using Algorithm = Handle<X509_ALGOR, X509_ALGOR_free>;
using Recipient = Handle<PKCS7_RECIP_INFO, PKCS7_RECIP_INFO_free>;

constexpr uint8_t kPkcs7Version = 0;
constexpr uint8_t kGmVersion = 1;
// The elements before the content are small. Larger lengths are rejected instead of read into memory.
constexpr uint64_t kMaxHeadPart = 1024 * 1024;

void append(Bytes& target, ByteView bytes) { target.insert(target.end(), bytes.begin(), bytes.end()); }

Bytes element(uint8_t tag, ByteView content) {
  Bytes bytes = der_header({tag, content.size()});
  append(bytes, content);
  return bytes;
}

Bytes object_der(const char* oid) { return der_of<const ASN1_OBJECT>(i2d_ASN1_OBJECT, object_of(oid).get()); }

// Selects the CBC cipher of a method. The algorithm identifier implies the key length.
const EVP_CIPHER* method_cipher(uint32_t method) {
  const SymmetricAlgorithm algorithm = symmetric_algorithm(method);
  require_saf(algorithm.mode == CipherMode::cbc, kSafAlgorithm);
  switch (method & ~kCbc) {
    case kTripleDes:
    case kAes192:
      return symmetric_cipher(algorithm, 24);
    case kAes256:
      return symmetric_cipher(algorithm, 32);
    default:
      return symmetric_cipher(algorithm, 16);
  }
}

Bytes cipher_der(const EVP_CIPHER* cipher, ByteView iv) {
  const Algorithm algorithm(allocated(X509_ALGOR_new()));
  OctetString parameter(allocated(ASN1_OCTET_STRING_new()));
  const bool set = ASN1_OCTET_STRING_set(parameter.get(), iv.data(), static_cast<int>(iv.size())) == 1 &&
                   X509_ALGOR_set0(algorithm.get(), OBJ_nid2obj(EVP_CIPHER_get_type(cipher)),
                                   V_ASN1_OCTET_STRING, parameter.get()) == 1;
  require(set, kEncryptFailed);
  parameter.release();
  return der_of<const X509_ALGOR>(i2d_X509_ALGOR, algorithm.get());
}

Bytes recipient_der(X509* certificate, EVP_PKEY* key, uint8_t version, ByteView content_key) {
  const Bytes encrypted_key = encrypt_with_key(key, content_key);
  const Recipient recipient(allocated(PKCS7_RECIP_INFO_new()));
  set_algorithm(recipient->key_enc_algor, object_of(types_for(kind_of(key)).encryption_algorithm),
                kEncryptFailed);
  const bool set = ASN1_INTEGER_set(recipient->version, version) == 1 &&
                   set_issuer_and_serial(recipient->issuer_and_serial, certificate) &&
                   ASN1_OCTET_STRING_set(recipient->enc_key, encrypted_key.data(),
                                         static_cast<int>(encrypted_key.size())) == 1;
  require(set, kEncryptFailed);
  return der_of<const PKCS7_RECIP_INFO>(i2d_PKCS7_RECIP_INFO, recipient.get());
}

// Encodes everything before the encrypted content. The content length is known in advance.
Bytes envelope_head(const MessageTypes& types, uint8_t version, ByteView recipient, ByteView cipher,
                    uint64_t length) {
  Bytes content_head = object_der(types.data);
  append(content_head, cipher);
  append(content_head, der_header({kDerContext0, length}));

  Bytes head = element(kDerInteger, ByteView(&version, 1));
  append(head, element(kDerSet, recipient));
  append(head, der_header({kDerSequence, content_head.size() + length}));
  append(head, content_head);

  // From the innermost to the outermost header; each length covers everything inside.
  for (const uint8_t tag : {uint8_t{kDerSequence}, uint8_t{kDerContext0Constructed}}) {
    Bytes around = der_header({tag, head.size() + length});
    append(around, head);
    head = std::move(around);
  }
  Bytes typed = object_der(types.enveloped_data);
  append(typed, head);
  Bytes whole = der_header({kDerSequence, typed.size() + length});
  append(whole, typed);
  return whole;
}

/**
 * Reads the elements of a digital envelope from a file. Unsupported encodings are left to the in-memory
 * decoder.
 */
class EnvelopeReader {
 public:
  explicit EnvelopeReader(InputFile& file) : file_(file) {}

  DerHeader header(uint8_t tag) {
    const auto found = read_der_header([this] { return next_byte(); });
    require_saf(found && found->tag == tag, kSafEnvelopeNotOpened);
    return *found;
  }
  /** Enters an element and returns the number of bytes that follow it in the file. */
  uint64_t enter(uint8_t tag) {
    const uint64_t length = header(tag).length;
    require_saf(length <= left(), kSafDamaged);
    return left() - length;
  }
  /** Number of bytes left in the file. */
  uint64_t left() const { return file_.size() - taken_; }
  /** Reads an element including its header. */
  Bytes whole(uint8_t tag) {
    const DerHeader found = header(tag);
    require_saf(found.length <= kMaxHeadPart, kSafEnvelopeNotOpened);
    Bytes bytes = der_header(found);
    for (uint64_t i = 0; i < found.length; ++i) {
      const auto byte = next_byte();
      require_saf(byte.has_value(), kSafDamaged);
      bytes.push_back(*byte);
    }
    return bytes;
  }
  /** Returns at most `limit` bytes; empty at the end of the file. */
  ByteView next(uint64_t limit) {
    if (rest_.empty()) rest_ = file_.read();
    const ByteView part = rest_.first(static_cast<size_t>(limit < rest_.size() ? limit : rest_.size()));
    rest_ = rest_.subspan(part.size());
    taken_ += part.size();
    return part;
  }

 private:
  std::optional<uint8_t> next_byte() {
    const ByteView byte = next(1);
    if (byte.empty()) return std::nullopt;
    return byte[0];
  }

  InputFile& file_;
  ByteView rest_;
  uint64_t taken_ = 0;
};

void expect_object(EnvelopeReader& reader, const char* pkcs7, const char* gm) {
  const Bytes found = reader.whole(kDerObject);
  require_saf(found == object_der(pkcs7) || found == object_der(gm), kSafEnvelopeNotOpened);
}

struct RecipientSetFreer {
  void operator()(STACK_OF(PKCS7_RECIP_INFO) * set) const {
    sk_PKCS7_RECIP_INFO_pop_free(set, PKCS7_RECIP_INFO_free);
  }
};
using RecipientSet = std::unique_ptr<STACK_OF(PKCS7_RECIP_INFO), RecipientSetFreer>;

// Decodes each element of the set as a PKCS#7 recipient.
RecipientSet recipients_in(ByteView set_der) {
  RecipientSet set(allocated(sk_PKCS7_RECIP_INFO_new_null()));
  size_t offset = 0;
  const auto next = [&]() -> std::optional<uint8_t> {
    if (offset == set_der.size()) return std::nullopt;
    return set_der[offset++];
  };
  require_saf(set && read_der_header(next).has_value(), kSafEnvelopeNotOpened);
  const uint8_t* at = set_der.data() + offset;
  const uint8_t* const end = set_der.data() + set_der.size();
  while (at < end) {
    Recipient recipient(d2i_PKCS7_RECIP_INFO(nullptr, &at, static_cast<long>(end - at)));
    require_saf(recipient != nullptr, kSafEnvelopeNotOpened);
    require(sk_PKCS7_RECIP_INFO_push(set.get(), recipient.get()) > 0, kUnknownError);
    recipient.release();
  }
  return set;
}

SymmetricOperation decryption(ByteView algorithm_der, ByteView key) {
  const auto algorithm = from_der<Algorithm>(d2i_X509_ALGOR, algorithm_der, kPkcs7Format);
  const EVP_CIPHER* cipher = EVP_get_cipherbyobj(algorithm->algorithm);
  require_saf(cipher != nullptr && EVP_CIPHER_get_mode(cipher) == EVP_CIPH_CBC_MODE, kSafEnvelopeNotOpened);
  require_saf(algorithm->parameter != nullptr && ASN1_TYPE_get(algorithm->parameter) == V_ASN1_OCTET_STRING,
              kSafEnvelopeNotOpened);
  require_saf(key.size() == static_cast<size_t>(EVP_CIPHER_get_key_length(cipher)), kSafKeyMismatch);
  return {cipher, Direction::decrypt, key, view_of(algorithm->parameter->value.octet_string)};
}

}  // namespace

void encode_envelope(const std::string& plain_path, X509* recipient, uint32_t method, OutputFile& envelope) {
  InputFile plain(plain_path);
  const EVP_CIPHER* cipher = method_cipher(method);
  const Key key(X509_get_pubkey(recipient));
  require(key != nullptr, kCertificateFormat);
  const bool sm2 = kind_of(key.get()) == KeyKind::sm2;
  const uint8_t version = sm2 ? kGmVersion : kPkcs7Version;
  SecretBytes content_key(static_cast<size_t>(EVP_CIPHER_get_key_length(cipher)));
  Bytes iv(static_cast<size_t>(EVP_CIPHER_get_iv_length(cipher)));
  require(RAND_bytes(content_key.data(), static_cast<int>(content_key.size())) == 1 &&
              RAND_bytes(iv.data(), static_cast<int>(iv.size())) == 1,
          kRandomFailed);

  const auto block = static_cast<uint64_t>(EVP_CIPHER_get_block_size(cipher));
  const uint64_t padded_length = (plain.size() / block + 1) * block;
  envelope.write(envelope_head(types_for(kind_of(key.get())), version,
                               recipient_der(recipient, key.get(), version, content_key),
                               cipher_der(cipher, iv), padded_length));

  SymmetricOperation encryption(cipher, Direction::encrypt, content_key, iv);
  uint64_t written = 0;
  SecretBytes encrypted;
  const auto write_out = [&] {
    written += encrypted.size();
    envelope.write(encrypted);
    encrypted.clear();
  };
  for (ByteView piece; !(piece = plain.read()).empty();) {
    encryption.update(piece, encrypted);
    write_out();
  }
  encryption.finish(encrypted);
  write_out();
  // If the file changed size meanwhile, the lengths already written are wrong.
  require_saf(written == padded_length, kSafFileRead);
}

void decode_envelope(const std::string& envelope_path, const ContentKeyFinder& find_key, OutputFile& plain) {
  InputFile envelope(envelope_path);
  EnvelopeReader reader(envelope);
  const uint64_t behind = reader.enter(kDerSequence);
  expect_object(reader, kPkcs7Types.enveloped_data, kGmTypes.enveloped_data);
  const uint64_t behind_content = reader.enter(kDerContext0Constructed);
  const uint64_t behind_data = reader.enter(kDerSequence);
  require_saf(behind == 0 && behind_content == 0 && behind_data == 0, kSafDamaged);
  reader.whole(kDerInteger);
  const RecipientSet set = recipients_in(reader.whole(kDerSet));
  const uint64_t behind_encrypted = reader.enter(kDerSequence);
  expect_object(reader, kPkcs7Types.data, kGmTypes.data);
  const Bytes algorithm = reader.whole(kDerSequence);
  uint64_t left = reader.header(kDerContext0).length;
  require_saf(left <= reader.left() && reader.left() - left == behind_encrypted, kSafDamaged);

  std::vector<EnvelopeRecipient> recipients;
  for (int i = 0; i < sk_PKCS7_RECIP_INFO_num(set.get()); ++i) {
    const PKCS7_RECIP_INFO* recipient = sk_PKCS7_RECIP_INFO_value(set.get(), i);
    recipients.push_back({recipient->issuer_and_serial, view_of(recipient->enc_key)});
  }
  SymmetricOperation operation = decryption(algorithm, find_key(recipients));
  SecretBytes decrypted;
  const auto write_out = [&] {
    plain.write(decrypted);
    decrypted.clear();
  };
  while (left > 0) {
    const ByteView piece = reader.next(left);
    require_saf(!piece.empty(), kSafDamaged);
    left -= piece.size();
    operation.update(piece, decrypted);
    write_out();
  }
  try {
    operation.finish(decrypted);
  } catch (const TokenError&) {
    throw SafError(kSafPadding);
  }
  write_out();
}

}  // namespace velm::token

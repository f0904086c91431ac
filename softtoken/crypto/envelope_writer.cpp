#include "softtoken/crypto/envelope_writer.h"

#include "softtoken/crypto/asymmetric.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/content_info.h"
#include "softtoken/crypto/der_element.h"
#include "softtoken/crypto/random.h"
#include "softtoken/crypto/symmetric_cipher.h"

namespace velm::token {
namespace {

using Recipient = Handle<PKCS7_RECIP_INFO, PKCS7_RECIP_INFO_free>;

constexpr uint8_t kPkcs7Version = 0;
constexpr uint8_t kGmVersion = 1;

void append(Bytes& target, ByteView bytes) { target.insert(target.end(), bytes.begin(), bytes.end()); }

// RecipientInfo with the encrypted content key.
Bytes recipient_der(X509* certificate, EVP_PKEY* key, uint8_t version, ByteView content_key) {
  const Recipient recipient(allocated(PKCS7_RECIP_INFO_new()));
  require(ASN1_INTEGER_set(recipient->version, version) == 1 &&
              set_issuer_and_serial(recipient->issuer_and_serial, certificate),
          kEncryptFailed);
  set_algorithm(recipient->key_enc_algor, object_of(types_for(kind_of(key)).encryption_algorithm),
                kEncryptFailed);
  set_bytes(recipient->enc_key, encrypt_with_key(key, content_key));
  return der_of<const PKCS7_RECIP_INFO>(i2d_PKCS7_RECIP_INFO, recipient.get());
}

// AlgorithmIdentifier: the cipher, with the IV as its parameters.
Bytes cipher_der(const EVP_CIPHER* cipher, ByteView iv) {
  const Algorithm algorithm(allocated(X509_ALGOR_new()));
  OctetString parameter(allocated(ASN1_OCTET_STRING_new()));
  set_bytes(parameter.get(), iv);
  const int set = X509_ALGOR_set0(algorithm.get(), OBJ_nid2obj(EVP_CIPHER_get_type(cipher)),
                                  V_ASN1_OCTET_STRING, parameter.get());
  require(set == 1, kEncryptFailed);
  parameter.release();
  return der_of<const X509_ALGOR>(i2d_X509_ALGOR, algorithm.get());
}

// Encodes everything before the encrypted content, whose length is known in advance.
Bytes envelope_head(const MessageTypes& types, uint8_t version, ByteView recipient, ByteView cipher,
                    uint64_t length) {
  Bytes content_head = object_der(types.data);
  append(content_head, cipher);
  append(content_head, der_header({kDerContext0, length}));

  Bytes head = der_element(kDerInteger, ByteView(&version, 1));
  append(head, der_element(kDerSet, recipient));
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

}  // namespace

void write_envelope(X509* recipient, const EVP_CIPHER* cipher, const ByteSource& plain, uint64_t length,
                    const ByteSink& envelope) {
  const Key key = key_of(recipient);
  const KeyKind kind = kind_of(key.get());
  // RFC 5280 section 4.2.1.3: keyEncipherment is the usage for the transport of a content key. Encryption
  // certificates of GM/T 0015 have all three encryption usages or one of them.
  require_key_usage(recipient, kind == KeyKind::sm2 ? kEncryptionUsages : KU_KEY_ENCIPHERMENT);
  const uint8_t version = kind == KeyKind::sm2 ? kGmVersion : kPkcs7Version;
  SecretBytes content_key(static_cast<size_t>(EVP_CIPHER_get_key_length(cipher)));
  fill_random(content_key);
  const Bytes iv = random_bytes(static_cast<size_t>(EVP_CIPHER_get_iv_length(cipher)));

  const auto block = static_cast<uint64_t>(EVP_CIPHER_get_block_size(cipher));
  const uint64_t padded_length = (length / block + 1) * block;
  envelope(envelope_head(types_for(kind), version, recipient_der(recipient, key.get(), version, content_key),
                         cipher_der(cipher, iv), padded_length));

  SymmetricOperation encryption(cipher, SymmetricOperation::Direction::encrypt, content_key, iv);
  uint64_t read = 0;
  encryption.convert(
      [&] {
        const ByteView piece = plain();
        read += piece.size();
        return piece;
      },
      envelope);
  require(read == length, kBadLength);
}

}  // namespace velm::token

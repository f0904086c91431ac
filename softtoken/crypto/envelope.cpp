#include "softtoken/crypto/envelope.h"

#include <openssl/rand.h>

#include "softtoken/crypto/asymmetric.h"
#include "softtoken/crypto/content_info.h"

namespace velm::token {
namespace {

constexpr long kPkcs7Version = 0;
constexpr long kGmVersion = 1;

long version_for(EVP_PKEY* key) { return kind_of(key) == KeyKind::rsa ? kPkcs7Version : kGmVersion; }

void add_recipient(PKCS7_ENVELOPE* envelope, X509* certificate, EVP_PKEY* key, ByteView content_key) {
  const MessageTypes& types = types_for(kind_of(key));
  Handle<PKCS7_RECIP_INFO, PKCS7_RECIP_INFO_free> recipient(allocated(PKCS7_RECIP_INFO_new()));
  require(ASN1_INTEGER_set(recipient->version, version_for(key)) == 1 &&
              set_issuer_and_serial(recipient->issuer_and_serial, certificate),
          kEncryptFailed);
  set_algorithm(recipient->key_enc_algor, object_of(types.encryption_algorithm), kEncryptFailed);
  set_bytes(recipient->enc_key, encrypt_with_key(key, content_key));
  require(sk_PKCS7_RECIP_INFO_push(envelope->recipientinfo, recipient.get()) > 0, kEncryptFailed);
  recipient.release();
}

// AlgorithmIdentifier: the cipher, with the IV as its parameters.
void set_cipher(X509_ALGOR* algorithm, const EVP_CIPHER* cipher, ByteView iv) {
  OctetString parameter(allocated(ASN1_OCTET_STRING_new()));
  set_bytes(parameter.get(), iv);
  const int set = X509_ALGOR_set0(algorithm, OBJ_nid2obj(EVP_CIPHER_get_type(cipher)), V_ASN1_OCTET_STRING,
                                  parameter.get());
  require(set == 1, kEncryptFailed);
  parameter.release();
}

Bytes encrypt_content(const EVP_CIPHER* cipher, ByteView key, ByteView iv, ByteView plain) {
  const CipherContext context(allocated(EVP_CIPHER_CTX_new()));
  Bytes out(plain.size() + static_cast<size_t>(EVP_CIPHER_get_block_size(cipher)));
  int length = 0;
  int last = 0;
  const bool done = EVP_EncryptInit_ex(context.get(), cipher, nullptr, key.data(), iv.data()) == 1 &&
                    EVP_EncryptUpdate(context.get(), out.data(), &length, plain.data(),
                                      static_cast<int>(plain.size())) == 1 &&
                    EVP_EncryptFinal_ex(context.get(), out.data() + length, &last) == 1;
  require(done, kEncryptFailed);
  out.resize(static_cast<size_t>(length) + static_cast<size_t>(last));
  return out;
}

SecretBytes decrypt_content(const X509_ALGOR* algorithm, ByteView key, ByteView encrypted) {
  const EVP_CIPHER* cipher = EVP_get_cipherbyobj(algorithm->algorithm);
  require(cipher != nullptr, kAlgorithmUnsupported);
  require(key.size() == static_cast<size_t>(EVP_CIPHER_get_key_length(cipher)), kEnvelopeOpenFailed);
  const CipherContext context(allocated(EVP_CIPHER_CTX_new()));
  SecretBytes out(encrypted.size() + static_cast<size_t>(EVP_CIPHER_get_block_size(cipher)));
  int length = 0;
  int last = 0;
  const bool done = EVP_DecryptInit_ex(context.get(), cipher, nullptr, nullptr, nullptr) == 1 &&
                    EVP_CIPHER_asn1_to_param(context.get(), algorithm->parameter) > 0 &&
                    EVP_DecryptInit_ex(context.get(), nullptr, nullptr, key.data(), nullptr) == 1 &&
                    EVP_DecryptUpdate(context.get(), out.data(), &length, encrypted.data(),
                                      static_cast<int>(encrypted.size())) == 1 &&
                    EVP_DecryptFinal_ex(context.get(), out.data() + length, &last) == 1;
  require(done, kEnvelopeOpenFailed);
  out.resize(static_cast<size_t>(length) + static_cast<size_t>(last));
  return out;
}

// Decrypts the content key from the first RecipientInfo that names the certificate of an opener.
SecretBytes content_key(const PKCS7_ENVELOPE* envelope, std::span<const Opener> openers) {
  for (int i = 0; i < sk_PKCS7_RECIP_INFO_num(envelope->recipientinfo); ++i) {
    const PKCS7_RECIP_INFO* recipient = sk_PKCS7_RECIP_INFO_value(envelope->recipientinfo, i);
    for (const Opener& opener : openers) {
      if (!names_certificate(recipient->issuer_and_serial, opener.certificate)) continue;
      try {
        return decrypt_with_key(opener.key, view_of(recipient->enc_key));
      } catch (const TokenError&) {
        throw TokenError(kEnvelopeOpenFailed);
      }
    }
  }
  throw TokenError(kKeyMismatch);
}

}  // namespace

Bytes make_envelope(X509* recipient, ByteView plain) {
  const Key key(X509_get_pubkey(recipient));
  require(key != nullptr, kCertificateFormat);
  const MessageTypes& types = types_for(kind_of(key.get()));
  const EVP_CIPHER* cipher = EVP_sm4_cbc();
  SecretBytes content_key(static_cast<size_t>(EVP_CIPHER_get_key_length(cipher)));
  Bytes iv(static_cast<size_t>(EVP_CIPHER_get_iv_length(cipher)));
  require(RAND_bytes(content_key.data(), static_cast<int>(content_key.size())) == 1 &&
              RAND_bytes(iv.data(), static_cast<int>(iv.size())) == 1,
          kRandomFailed);

  const Pkcs7Envelope envelope(allocated(PKCS7_ENVELOPE_new()));
  require(ASN1_INTEGER_set(envelope->version, version_for(key.get())) == 1, kEncryptFailed);
  add_recipient(envelope.get(), recipient, key.get(), content_key);
  PKCS7_ENC_CONTENT* content = envelope->enc_data;
  Object data_type = object_of(types.data);
  ASN1_OBJECT_free(content->content_type);
  content->content_type = data_type.release();
  set_cipher(content->algorithm, cipher, iv);
  content->enc_data = allocated(ASN1_OCTET_STRING_new());
  set_bytes(content->enc_data, encrypt_content(cipher, content_key, iv, plain));
  return wrap_content(types.enveloped_data, der_of<const PKCS7_ENVELOPE>(i2d_PKCS7_ENVELOPE, envelope.get()));
}

SecretBytes open_envelope(std::span<const Opener> openers, ByteView envelope) {
  const Bytes inner = unwrap_content(envelope, kPkcs7Types.enveloped_data, kGmTypes.enveloped_data);
  const auto parsed = from_der<Pkcs7Envelope>(d2i_PKCS7_ENVELOPE, inner, kPkcs7Format);
  const PKCS7_ENC_CONTENT* content = parsed->enc_data;
  require(content->enc_data != nullptr, kPkcs7Format);
  const SecretBytes key = content_key(parsed.get(), openers);
  return decrypt_content(content->algorithm, key, view_of(content->enc_data));
}

}  // namespace velm::token

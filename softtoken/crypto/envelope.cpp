#include "softtoken/crypto/envelope.h"

#include "softtoken/crypto/asymmetric.h"
#include "softtoken/crypto/content_info.h"
#include "softtoken/crypto/envelope_reader.h"
#include "softtoken/crypto/envelope_writer.h"
#include "softtoken/crypto/symmetric_cipher.h"

namespace velm::token {
namespace {

// Room for everything in a digital envelope except its content.
constexpr size_t kHeadRoom = 2048;

// Decrypts the content key from the first RecipientInfo that names the certificate of an opener.
SecretBytes content_key(std::span<const EnvelopeRecipient> recipients, std::span<const Opener> openers) {
  for (const EnvelopeRecipient& recipient : recipients) {
    for (const Opener& opener : openers) {
      if (names_certificate(recipient.name, opener.certificate))
        return decrypt_with_key(opener.key, recipient.encrypted_key);
    }
  }
  throw TokenError(kKeyMismatch);
}

SecretBytes decrypt(const PKCS7_ENC_CONTENT* content, ByteView key) {
  SymmetricOperation decryption(content->algorithm, key);
  const ByteView encrypted = view_of(content->enc_data);
  SecretBytes plain;
  plain.reserve(encrypted.size() + EVP_MAX_BLOCK_LENGTH);
  decryption.update(encrypted, plain);
  decryption.finish(plain);
  return plain;
}

}  // namespace

Bytes make_envelope(X509* recipient, ByteView plain) {
  Bytes envelope;
  envelope.reserve(plain.size() + kHeadRoom);
  write_envelope(recipient, EVP_sm4_cbc(), stream_of(plain), plain.size(),
                 [&](ByteView piece) { envelope.insert(envelope.end(), piece.begin(), piece.end()); });
  return envelope;
}

// Decodes with OpenSSL, which accepts all of BER. read_envelope() cannot: in BER, the content may be split
// into parts of indefinite length.
SecretBytes open_envelope(std::span<const Opener> openers, ByteView envelope) {
  const Bytes inner = unwrap_content(envelope, kPkcs7Types.enveloped_data, kGmTypes.enveloped_data);
  const auto parsed = from_der<Pkcs7Envelope>(d2i_PKCS7_ENVELOPE, inner, kPkcs7Format);
  const PKCS7_ENC_CONTENT* content = parsed->enc_data;
  require(content->enc_data != nullptr, kPkcs7Format);
  try {
    return decrypt(content, content_key(recipients_in(parsed->recipientinfo), openers));
  } catch (const TokenError& error) {
    const bool distinguished = error.code() == kKeyMismatch || error.code() == kAlgorithmUnsupported;
    throw TokenError(distinguished ? error.code() : kEnvelopeOpenFailed);
  }
}

}  // namespace velm::token

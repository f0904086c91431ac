#include <openssl/err.h>

#include "protocol/identifiers.h"
#include "softtoken/crypto/asymmetric.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/envelope.h"
#include "softtoken/service/function_families.h"

namespace velm::token {
namespace {

// Size of the response buffer of clients for AsymmEncryptData, in addition to the length of the key.
constexpr size_t kAsymmetricRoom = 1024;

// Whether a request addresses the encryption key of a container, not the signing key.
bool is_encryption_key(uint32_t key_type) {
  const bool encryption = key_type == protocol::kEncryptionKey;
  if (!encryption && key_type != protocol::kSigningKey) throw TokenError(kParameterUnsupported);
  return encryption;
}

// A certificate may limit the usage of its key. A public key does not.
void require_encryption_usage(ByteView key) {
  const uint8_t* at = key.data();
  const Certificate certificate(d2i_X509(nullptr, &at, static_cast<long>(key.size())));
  ERR_clear_error();
  if (certificate) require_key_usage(certificate.get(), kEncryptionUsages);
}

}  // namespace

SecretText encrypt_data(Token&, FrameReader& request) {
  const Certificate recipient = parse_certificate(request.bytes());
  const ByteView plain = request.bytes();
  request.expect_end();
  return frame_success(make_envelope(recipient.get(), plain));
}

SecretText decrypt_data(Token& token, FrameReader& request) {
  const ContainerName name = request.name();
  const ByteView envelope = request.bytes();
  request.expect_end();
  const auto session = token.session(name);
  const Opener openers[] = {{session->encryption_certificate.get(), session->encryption_key.get()},
                            {session->signing_certificate.get(), session->signing_key.get()}};
  return frame_success(open_envelope(openers, envelope));
}

SecretText export_public_key(Token& token, FrameReader& request) {
  const ContainerName name = request.name();
  const uint32_t key_type = request.number();
  request.expect_end();
  const ContainerRow row = token.container(name);
  const Bytes& certificate =
      is_encryption_key(key_type) ? row.encryption_certificate : row.signing_certificate;
  return frame_success(public_key_bytes(key_of(parse_certificate(certificate).get()).get()));
}

SecretText asymmetric_encrypt(Token&, FrameReader& request) {
  const ByteView key = request.bytes();
  const ByteView plain = request.bytes();
  request.expect_end();
  require_encryption_usage(key);
  const Bytes cipher = encrypt_with_key(public_key_from(key).get(), plain);
  if (cipher.size() + protocol::kAnswerHeadSize > key.size() + kAsymmetricRoom) throw TokenError(kBadLength);
  return frame_success(cipher);
}

SecretText asymmetric_decrypt(Token& token, FrameReader& request) {
  const ContainerName name = request.name();
  const uint32_t key_type = request.number();
  const ByteView cipher = request.bytes();
  request.expect_end();
  const auto session = token.session(name);
  const Key& key = is_encryption_key(key_type) ? session->encryption_key : session->signing_key;
  return frame_success(decrypt_with_key(key.get(), cipher));
}

}  // namespace velm::token

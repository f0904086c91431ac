#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/signed_data.h"
#include "softtoken/crypto/signing.h"
#include "softtoken/service/function_families.h"

namespace velm::token {
namespace {

constexpr uint32_t kAttached = 0;

// Sic: 0 and 1 both mean that the data is a hash value.
constexpr bool is_hash_value(uint32_t data_type) { return data_type <= 1; }

enum MessageItem : uint32_t { kContentItem = 1, kCertificateItem = 2, kSignatureItem = 3 };

}  // namespace

SecretText sign_data(Token& token, JsonRequest& request) {
  const ByteView data = request.bytes("InData");
  const auto session = token.session(request.container_name("ContainerName"));
  EVP_PKEY* key = session->signing_key.get();
  return json_success_base64("Sign", sign_data(key, digest_for(key), data));
}

SecretText verify_data(Token&, JsonRequest& request) {
  const Key key = key_of(parse_certificate(request.bytes("EncodeCert")).get());
  verify_data(key.get(), digest_for(key.get()), request.bytes("InData"), request.bytes("SignValue"));
  return json_success();
}

SecretText sign_message(Token& token, JsonRequest& request) {
  const ByteView data = request.bytes("InData");
  const bool detached = request.number("Flag") != kAttached;
  const auto session = token.session(request.container_name("ContainerName"));
  const Bytes message =
      make_signed_message(session->signing_key.get(), session->signing_certificate.get(), data, detached);
  return json_success_base64("SignData", message);
}

SecretText verify_message(Token&, JsonRequest& request) {
  verify_signed_message(request.bytes("MessageData"), request.bytes("InData"));
  return json_success();
}

SecretText sign_hash(Token& token, JsonRequest& request) {
  const auto digest = static_cast<DigestId>(request.number("hashAlg"));
  if (!is_hash_value(request.number("inDataType"))) throw TokenError(kParameterUnsupported);
  const ByteView hash = request.bytes("hashedData");
  const auto session = token.session(request.container_name("container"));
  return json_success_base64(sign_hash(session->signing_key.get(), digest, hash));
}

SecretText get_message_item(Token&, FrameReader& request) {
  const ByteView encoded = request.bytes();
  const uint32_t item = request.number();
  request.expect_end();
  const SignedMessage message = parse_signed_message(encoded);
  switch (item) {
    case kContentItem:
      if (!message.content) throw TokenError(kObjectNotFound);
      return frame_success(*message.content);
    case kCertificateItem:
      return frame_success(certificate_der(message.signer.get()));
    case kSignatureItem:
      return frame_success(message.signature);
    default:
      throw TokenError(kParameterUnsupported);
  }
}

}  // namespace velm::token

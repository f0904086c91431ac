#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/signed_data.h"
#include "softtoken/crypto/signing.h"
#include "softtoken/service/function_families.h"
#include "softtoken/service/json_fields.h"

namespace velm::token {
namespace {

constexpr uint32_t kAttached = 0;

// Sic: 0 and 1 both mean that the data is a hash value.
constexpr bool is_hash_value(uint32_t data_type) { return data_type <= 1; }

enum MessageItem : uint32_t { kContentItem = 1, kCertificateItem = 2, kSignatureItem = 3 };

}  // namespace

Json sign_data(Token& token, const Json& request) {
  const Bytes data = base64_field(request, "InData");
  const auto session = token.session(name_field(request, "ContainerName"));
  EVP_PKEY* key = session->signing_key.get();
  return {{"Sign", base64_encode(sign_data(key, digest_for(key), data))}};
}

Json verify_data(Token&, const Json& request) {
  const Key key = key_of(parse_certificate(base64_field(request, "EncodeCert")).get());
  verify_data(key.get(), digest_for(key.get()), base64_field(request, "InData"),
              base64_field(request, "SignValue"));
  return nullptr;
}

Json sign_message(Token& token, const Json& request) {
  const Bytes data = base64_field(request, "InData");
  const bool detached = number_field(request, "Flag") != kAttached;
  const auto session = token.session(name_field(request, "ContainerName"));
  const Bytes message =
      make_signed_message(session->signing_key.get(), session->signing_certificate.get(), data, detached);
  return {{"SignData", base64_encode(message)}};
}

Json verify_message(Token&, const Json& request) {
  verify_signed_message(base64_field(request, "MessageData"), base64_field(request, "InData"));
  return nullptr;
}

Json sign_hash(Token& token, const Json& request) {
  const auto digest = static_cast<DigestId>(number_field(request, "hashAlg"));
  if (!is_hash_value(number_field(request, "inDataType"))) throw TokenError(kParameterUnsupported);
  const Bytes hash = base64_field(request, "hashedData");
  const auto session = token.session(name_field(request, "container"));
  return base64_encode(sign_hash(session->signing_key.get(), digest, hash));
}

Bytes get_message_item(Token&, FrameReader& request) {
  const ByteView encoded = request.bytes();
  const uint32_t item = request.number();
  request.expect_end();
  const SignedMessage message = parse_signed_message(encoded);
  switch (item) {
    case kContentItem:
      if (!message.content) throw TokenError(kObjectNotFound);
      return *message.content;
    case kCertificateItem:
      return certificate_der(message.signer.get());
    case kSignatureItem:
      return message.signature;
    default:
      throw TokenError(kParameterUnsupported);
  }
}

}  // namespace velm::token

#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/service/function_families.h"

namespace velm::token {
namespace {

// Largest value whose base64 fits into the 1,024-byte response buffer of clients.
constexpr size_t kMaxOidValue = 720;

SecretText exported(ByteView certificate) { return json_success_base64("UserCert", certificate); }

}  // namespace

SecretText export_signing_certificate(Token& token, JsonRequest& request) {
  return exported(token.container(request.container_name("ContainerName")).signing_certificate);
}

SecretText export_encryption_certificate(Token& token, JsonRequest& request) {
  return exported(token.container(request.container_name("ContainerName")).encryption_certificate);
}

SecretText get_certificate_item_by_oid(Token&, JsonRequest& request) {
  const Certificate certificate = parse_certificate(request.bytes("Cert"));
  const Bytes value = certificate_item_by_oid(certificate.get(), std::string(request.text("Oid")));
  if (value.size() > kMaxOidValue) throw TokenError(kBufferTooSmall);
  return json_success_base64("Info", value);
}

SecretText validate_certificate(Token& token, JsonRequest& request) {
  token.validate(parse_certificate(request.bytes("Cert")).get());
  return json_success();
}

// Sic: the response with its head must not be longer than the certificate: clients allocate no more.
SecretText get_certificate_item(Token&, FrameReader& request) {
  const ByteView der = request.bytes();
  const uint32_t item = request.number();
  request.expect_end();
  const Bytes value = certificate_item(parse_certificate(der).get(), item);
  if (value.size() + protocol::kAnswerHeadSize > der.size()) throw TokenError(kBufferTooSmall);
  return frame_success(value);
}

}  // namespace velm::token

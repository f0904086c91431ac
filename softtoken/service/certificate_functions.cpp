#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/service/function_families.h"
#include "softtoken/service/json_fields.h"

namespace velm::token {
namespace {

// Largest value whose base64 fits into the 1,024-byte response buffer of clients.
constexpr size_t kMaxOidValue = 720;

Json exported(const Bytes& certificate) { return {{"UserCert", base64_encode(certificate)}}; }

}  // namespace

Json export_signing_certificate(Token& token, const Json& request) {
  return exported(token.container(name_field(request, "ContainerName")).signing_certificate);
}

Json export_encryption_certificate(Token& token, const Json& request) {
  return exported(token.container(name_field(request, "ContainerName")).encryption_certificate);
}

Json get_certificate_item_by_oid(Token&, const Json& request) {
  const Certificate certificate = parse_certificate(base64_field(request, "Cert"));
  const Bytes value = certificate_item_by_oid(certificate.get(), text_field(request, "Oid"));
  if (value.size() > kMaxOidValue) throw TokenError(kBufferTooSmall);
  return {{"Info", base64_encode(value)}};
}

Json validate_certificate(Token& token, const Json& request) {
  token.validate(parse_certificate(base64_field(request, "Cert")).get());
  return nullptr;
}

// Sic: the response with its head must not be longer than the certificate: clients allocate no more.
Bytes get_certificate_item(Token&, FrameReader& request) {
  const ByteView der = request.bytes();
  const uint32_t item = request.number();
  request.expect_end();
  Bytes value = certificate_item(parse_certificate(der).get(), item);
  if (value.size() + protocol::kAnswerHeadSize > der.size()) throw TokenError(kBufferTooSmall);
  return value;
}

}  // namespace velm::token

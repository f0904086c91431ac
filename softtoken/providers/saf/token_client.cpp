#include "softtoken/providers/saf/token_client.h"

#include <charconv>

#include "protocol/endpoint.h"
#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/text_encoding.h"
#include "softtoken/providers/saf/http_post.h"
#include "softtoken/providers/saf/saf_call.h"

namespace velm::token {

using namespace protocol;

namespace {

uint32_t error_code_of(const cJSON* answer) {
  const std::string_view text = json_text(json_member(answer, "ErrorCode"));
  uint32_t value = 0;
  const auto [at, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
  require_saf(error == std::errc() && at == text.data() + text.size(), kSafJsonFailed);
  return value;
}

void require_success(uint32_t token_code) {
  if (token_code != kSuccess) throw SafError(saf_code_of(token_code));
}

// The length includes the terminating NUL.
FrameBytes text_field(const std::string& text) { return {text.c_str(), text.size() + 1}; }

}  // namespace

SecretBytes TokenClient::post(const Endpoint& endpoint, const char* path, const char* content_type,
                              ByteView body) const {
  require_saf(body.size() <= kMaxHttpBody, kSafBadLength);
  return http_post(
      {endpoint, path, content_type, body, configuration_.connect_timeout, configuration_.answer_timeout});
}

Json TokenClient::call(const char* path, const JsonObject& request) const {
  const std::string text = request.text();
  const Json answer = parse_json(post(configuration_.service, path, kJsonType, as_bytes(text)));
  require_saf(cJSON_IsObject(answer.get()) != 0, kSafJsonFailed);
  require_success(error_code_of(answer.get()));
  return Json(cJSON_DetachItemFromObjectCaseSensitive(answer.get(), "Result"));
}

SecretBytes TokenClient::frame_call(FunctionNumber function, std::initializer_list<FrameField> fields) const {
  std::string request;
  request.reserve(request_size(fields));
  append_request(request, function, fields);
  const SecretBytes received = post(configuration_.service, kApplicationPath, kFrameType, as_bytes(request));
  const FrameAnswer answer = read_answer(received, received.size(), FrameContent::code_and_data);
  require_saf(!answer.refused, kSafServerFailed);
  require_success(answer.code);
  require_saf(received.size() == kAnswerHeadSize + answer.data.size(), kSafServerFailed);
  return secret_copy(answer.data);
}

Bytes TokenClient::certificate(const std::string& container, KeyUse use) const {
  const auto function =
      use == KeyUse::signing ? FunctionNumber::ExportUserCert : FunctionNumber::ExportExChangeUserCert;
  JsonObject request;
  request.add(kFunctionMember, number_of(function)).add("ContainerName", utf8_of(container));
  return json_base64(json_member(call(kApplicationPath, request).get(), "UserCert"));
}

Bytes TokenClient::sign_hash(const std::string& container, DigestId digest, ByteView hash) const {
  JsonObject request;
  request.add(kFunctionMember, number_of(FunctionNumber::SignHash))
      .add("container", utf8_of(container))
      .add("hashAlg", static_cast<uint32_t>(digest))
      .add("inDataType", 0)
      .add("hashedData", base64_encode(hash));
  return json_base64(call(kApplicationPath, request).get());
}

SecretBytes TokenClient::decrypt(const std::string& container, KeyUse use, ByteView cipher) const {
  const std::string name = utf8_of(container);
  return frame_call(FunctionNumber::AsymmDecryptData,
                    {text_field(name), static_cast<uint32_t>(use), FrameBytes(cipher)});
}

SecretBytes TokenClient::open_envelope(const std::string& container, ByteView envelope) const {
  const std::string name = utf8_of(container);
  return frame_call(FunctionNumber::DecryptData, {text_field(name), FrameBytes(envelope)});
}

Json TokenClient::module_function(ModuleFunction function, JsonObject arguments) const {
  return call(kModulePath, arguments.add(kFunctionMember, number_of(function)));
}

Bytes TokenClient::label(const std::string& name, uint32_t type) const {
  JsonObject arguments;
  arguments.add("name", base64_encode(as_bytes(name))).add("type", type);
  return json_base64(module_function(ModuleFunction::read_label, std::move(arguments)).get());
}

Bytes TokenClient::time_stamp(ByteView query) const {
  return copy_of(post(configuration_.time_stamp, kTimeStampPath, kTimeStampQueryType, query));
}

}  // namespace velm::token

#include "softtoken/providers/saf/token_client.h"

#include <charconv>
#include <limits>

#include <nlohmann/json.hpp>

#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/text_encoding.h"
#include "softtoken/providers/saf/http_post.h"
#include "softtoken/providers/saf/saf_call.h"

namespace velm::token {

using namespace protocol;

namespace {

using Json = nlohmann::json;

constexpr const char* kJsonType = "application/json";
constexpr const char* kFrameType = "application/octet-stream";
constexpr const char* kStampQueryType = "application/timestamp-query";

uint32_t error_code_of(const Json& answer) {
  const auto code = answer.find("ErrorCode");
  require_saf(code != answer.end() && code->is_string(), kSafJsonFailed);
  const auto& text = code->get_ref<const std::string&>();
  uint32_t value = 0;
  const auto [at, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
  require_saf(error == std::errc() && at == text.data() + text.size(), kSafJsonFailed);
  return value;
}

void require_success(uint32_t token_code) {
  if (token_code != kSuccess) throw SafError(saf_code_of(token_code));
}

// A name goes out whole, zero bytes in it too.
FrameBytes text_field(const std::string& text) { return {text.c_str(), text.size() + 1}; }

const Json& member(const Json& object, const char* name) {
  const auto found = object.find(name);
  require_saf(found != object.end(), kSafJsonFailed);
  return *found;
}

}  // namespace

Bytes base64_value(const Json& value) {
  require_saf(value.is_string(), kSafJsonFailed);
  auto bytes = base64_decode(value.get_ref<const std::string&>());
  require_saf(bytes.has_value(), kSafJsonFailed);
  return *std::move(bytes);
}

uint32_t number_member(const Json& object, const char* name) {
  const Json& value = member(object, name);
  require_saf(value.is_number_unsigned(), kSafJsonFailed);
  const auto number = value.get<uint64_t>();
  require_saf(number <= std::numeric_limits<uint32_t>::max(), kSafJsonFailed);
  return static_cast<uint32_t>(number);
}

SecretBytes TokenClient::post(const Endpoint& endpoint, const char* path, const char* content_type,
                              ByteView body) const {
  require_saf(body.size() <= kMaxHttpBody, kSafBadLength);
  return http_post(
      {endpoint, path, content_type, body, configuration_.connect_timeout, configuration_.answer_timeout});
}

Json TokenClient::call(const char* path, const Json& request) const {
  const std::string text = request.dump();
  const SecretBytes body = post(configuration_.service, path, kJsonType, as_bytes(text));
  Json answer = Json::parse(body.begin(), body.end(), nullptr, false);
  require_saf(answer.is_object(), kSafJsonFailed);
  require_success(error_code_of(answer));
  return answer.value("Result", Json());
}

SecretBytes TokenClient::frame_call(FunctionNumber function,
                                    std::initializer_list<FrameField> fields) const {
  std::string request;
  request.reserve(request_size(fields));
  append_request(request, function, fields);
  const SecretBytes received = post(configuration_.service, "/", kFrameType, as_bytes(request));
  const FrameAnswer answer = read_answer(received, received.size(), FrameContent::code_and_data);
  require_saf(!answer.refused, kSafServerFailed);
  require_success(answer.code);
  require_saf(received.size() == kAnswerHeadSize + answer.data.size(), kSafServerFailed);
  return secret_copy(answer.data);
}

Bytes TokenClient::certificate(const std::string& container, KeyUse use) const {
  const auto function =
      use == KeyUse::signing ? FunctionNumber::ExportUserCert : FunctionNumber::ExportExChangeUserCert;
  const Json result = call("/", {{"funcid", number_of(function)}, {"ContainerName", utf8_of(container)}});
  return base64_value(member(result, "UserCert"));
}

Bytes TokenClient::sign_hash(const std::string& container, DigestId digest, ByteView hash) const {
  return base64_value(call("/", {{"funcid", number_of(FunctionNumber::SignHash)},
                                  {"container", utf8_of(container)},
                                  {"hashAlg", static_cast<uint32_t>(digest)},
                                  {"inDataType", 0},
                                  {"hashedData", base64_encode(hash)}}));
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

Json TokenClient::module_function(ModuleFunction function, Json arguments) const {
  arguments["funcid"] = number_of(function);
  return call("/token", arguments);
}

Bytes TokenClient::time_stamp(ByteView query) const {
  return copy_of(post(configuration_.time_stamp, "/tsa", kStampQueryType, query));
}

}  // namespace velm::token

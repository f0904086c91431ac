#include "softtoken/providers/saf/token_client.h"

#include <charconv>
#include <limits>

#include <nlohmann/json.hpp>

#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/text_encoding.h"
#include "softtoken/providers/saf/http_post.h"
#include "softtoken/providers/saf/saf_call.h"

namespace velm::token {
namespace {

using Json = nlohmann::json;

constexpr const char* kJsonType = "application/json";
constexpr const char* kFrameType = "application/octet-stream";
constexpr const char* kStampQueryType = "application/timestamp-query";

enum JsonFunctionNumber { kExportUserCert = 6, kExportExchangeUserCert = 10, kSignHash = 83 };
enum FrameFunctionNumber : uint8_t { kDecryptData = 20, kAsymmetricDecrypt = 61 };

/** A request of the byte-frame form: integers are 32-bit little-endian. */
class FrameWriter {
 public:
  explicit FrameWriter(FrameFunctionNumber function) : frame_{0x77, function} {}

  FrameWriter& number(uint32_t value) {
    for (unsigned shift = 0; shift < 32; shift += 8) frame_.push_back(static_cast<uint8_t>(value >> shift));
    return *this;
  }
  FrameWriter& bytes(ByteView value) {
    number(static_cast<uint32_t>(value.size()));
    frame_.insert(frame_.end(), value.begin(), value.end());
    return *this;
  }
  FrameWriter& text(const std::string& value) {
    return bytes(ByteView(reinterpret_cast<const uint8_t*>(value.c_str()), value.size() + 1));
  }
  const Bytes& frame() const { return frame_; }

 private:
  Bytes frame_;
};

uint32_t number_at(ByteView bytes, size_t at) {
  require_saf(bytes.size() >= at + 4, kSafServerFailed);
  return uint32_t{bytes[at]} | uint32_t{bytes[at + 1]} << 8 | uint32_t{bytes[at + 2]} << 16 |
         uint32_t{bytes[at + 3]} << 24;
}

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

SecretBytes TokenClient::frame_call(ByteView frame) const {
  const SecretBytes answer = post(configuration_.service, "/", kFrameType, frame);
  require_success(number_at(answer, 0));
  const uint32_t length = number_at(answer, 4);
  require_saf(answer.size() == size_t{length} + 8, kSafServerFailed);
  return {answer.begin() + 8, answer.end()};
}

Bytes TokenClient::certificate(const std::string& container, KeyUse use) const {
  const auto function = use == KeyUse::signing ? kExportUserCert : kExportExchangeUserCert;
  const Json result = call("/", {{"funcid", function}, {"ContainerName", utf8_of(container)}});
  return base64_value(member(result, "UserCert"));
}

Bytes TokenClient::sign_hash(const std::string& container, DigestId digest, ByteView hash) const {
  return base64_value(call("/", {{"funcid", kSignHash},
                                  {"container", utf8_of(container)},
                                  {"hashAlg", static_cast<uint32_t>(digest)},
                                  {"inDataType", 0},
                                  {"hashedData", base64_encode(hash)}}));
}

SecretBytes TokenClient::decrypt(const std::string& container, KeyUse use, ByteView cipher) const {
  return frame_call(FrameWriter(kAsymmetricDecrypt)
                        .text(utf8_of(container))
                        .number(static_cast<uint32_t>(use))
                        .bytes(cipher)
                        .frame());
}

SecretBytes TokenClient::open_envelope(const std::string& container, ByteView envelope) const {
  return frame_call(FrameWriter(kDecryptData).text(utf8_of(container)).bytes(envelope).frame());
}

Json TokenClient::module_function(ModuleFunction function, Json arguments) const {
  arguments["funcid"] = static_cast<uint32_t>(function);
  return call("/token", arguments);
}

Bytes TokenClient::time_stamp(ByteView query) const {
  return copy_of(post(configuration_.time_stamp, "/tsa", kStampQueryType, query));
}

}  // namespace velm::token

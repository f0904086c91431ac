#include "softtoken/providers/saf/token_client.h"

#include <charconv>

#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/text_encoding.h"
#include "softtoken/providers/saf/http_post.h"
#include "softtoken/providers/saf/saf_call.h"

namespace velm::token {
namespace {

constexpr const char* kJsonType = "application/json";
constexpr const char* kFrameType = "application/octet-stream";
constexpr const char* kStampQueryType = "application/timestamp-query";

enum JsonFunctionNumber : uint32_t { kExportUserCert = 6, kExportExchangeUserCert = 10, kSignHash = 83 };
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

SecretBytes TokenClient::frame_call(ByteView frame) const {
  const SecretBytes answer = post(configuration_.service, "/", kFrameType, frame);
  require_success(number_at(answer, 0));
  const uint32_t length = number_at(answer, 4);
  require_saf(answer.size() == size_t{length} + 8, kSafServerFailed);
  return {answer.begin() + 8, answer.end()};
}

Bytes TokenClient::certificate(const std::string& container, KeyUse use) const {
  JsonObject request;
  request.add("funcid", use == KeyUse::signing ? kExportUserCert : kExportExchangeUserCert)
      .add("ContainerName", utf8_of(container));
  return json_base64(json_member(call("/", request).get(), "UserCert"));
}

Bytes TokenClient::sign_hash(const std::string& container, DigestId digest, ByteView hash) const {
  JsonObject request;
  request.add("funcid", kSignHash)
      .add("container", utf8_of(container))
      .add("hashAlg", static_cast<uint32_t>(digest))
      .add("inDataType", 0)
      .add("hashedData", base64_encode(hash));
  return json_base64(call("/", request).get());
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

Json TokenClient::module_function(ModuleFunction function, JsonObject arguments) const {
  return call("/token", arguments.add("funcid", static_cast<uint32_t>(function)));
}

Bytes TokenClient::time_stamp(ByteView query) const {
  return copy_of(post(configuration_.time_stamp, "/tsa", kStampQueryType, query));
}

}  // namespace velm::token

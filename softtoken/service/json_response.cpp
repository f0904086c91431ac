#include "softtoken/service/json_response.h"

#include <cstdio>

#include <nlohmann/json.hpp>

#include "softtoken/crypto/base64.h"

namespace velm::token {
namespace {

constexpr std::string_view kSuccessHead = R"({"ErrorCode":"0","Result":)";

// Adds the base64 text of the bytes between two parts of a response. It is encoded in place: it can be large.
SecretText encoded_between(std::string_view before, ByteView bytes, std::string_view after) {
  const size_t length = base64_length(bytes.size());
  SecretText text;
  text.reserve(before.size() + length + after.size());
  text = before;
  text.resize(before.size() + length);
  base64_encode(bytes, text.data() + before.size());
  text += after;
  return text;
}

}  // namespace

SecretText json_success() { return json_failure(0); }

SecretText json_success(const nlohmann::json& result) {
  SecretText text(kSuccessHead);
  text += result.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  text += '}';
  return text;
}

SecretText json_success_base64(ByteView bytes) {
  return encoded_between(std::string(kSuccessHead) + '"', bytes, R"("})");
}

SecretText json_success_base64(std::string_view member, ByteView bytes) {
  const std::string head = std::string(kSuccessHead) + "{\"" + std::string(member) + "\":\"";
  return encoded_between(head, bytes, R"("}})");
}

SecretText json_failure(uint32_t code) {
  char text[32];
  std::snprintf(text, sizeof text, R"({"ErrorCode":"%X"})", static_cast<unsigned>(code));
  return text;
}

}  // namespace velm::token

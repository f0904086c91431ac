#include "softtoken/service/json_fields.h"

#include <limits>

#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/token_error.h"
#include "softtoken/service/received_text.h"

namespace velm::token {
namespace {

const nlohmann::json& member(const nlohmann::json& request, const char* name) {
  const auto found = request.find(name);
  if (found == request.end()) throw TokenError(kBadInput);
  return *found;
}

const std::string& text_member(const nlohmann::json& request, const char* name) {
  const nlohmann::json& value = member(request, name);
  if (!value.is_string()) throw TokenError(kBadInput);
  return value.get_ref<const std::string&>();
}

}  // namespace

std::string text_field(const nlohmann::json& request, const char* name) { return text_member(request, name); }

ContainerName name_field(const nlohmann::json& request, const char* name) {
  return read_name(text_member(request, name));
}

Pin pin_field(const nlohmann::json& request, const char* name) {
  return as_bytes(text_member(request, name));
}

// Clients may print an unsigned 32-bit number as a signed one.
uint32_t number_field(const nlohmann::json& request, const char* name) {
  const nlohmann::json& value = member(request, name);
  if (!value.is_number_integer()) throw TokenError(kBadInput);
  const bool in_range = value.is_number_unsigned()
                            ? value.get<uint64_t>() <= std::numeric_limits<uint32_t>::max()
                            : value.get<int64_t>() >= std::numeric_limits<int32_t>::min();
  if (!in_range) throw TokenError(kBadInput);
  return static_cast<uint32_t>(value.get<int64_t>());
}

Bytes base64_field(const nlohmann::json& request, const char* name) {
  auto bytes = base64_decode(text_member(request, name));
  if (!bytes) throw TokenError(kBadInput);
  return *std::move(bytes);
}

Pin base64_pin_field(const nlohmann::json& request, const char* name) {
  Bytes bytes = base64_field(request, name);
  const WipeAtEnd wiped(bytes);
  return read_pin(bytes);
}

// The calls below throw only for invalid iterators and for values that are not strings: neither can occur.
WipeTextsAtEnd::~WipeTextsAtEnd() {  // NOLINT(bugprone-exception-escape)
  for (auto& value : request_) {
    if (!value.is_string()) continue;
    auto& text = value.get_ref<std::string&>();
    OPENSSL_cleanse(text.data(), text.size());
  }
}

}  // namespace velm::token

#include "softtoken/service/json_fields.h"

#include <limits>

#include "softtoken/core/base64.h"
#include "softtoken/core/token_error.h"

namespace velm::token {
namespace {

const nlohmann::json& member(const nlohmann::json& request, const char* name) {
  const auto found = request.find(name);
  if (found == request.end()) throw TokenError(kBadInput);
  return *found;
}

}  // namespace

std::string text_field(const nlohmann::json& request, const char* name) {
  const nlohmann::json& value = member(request, name);
  if (!value.is_string()) throw TokenError(kBadInput);
  return value.get<std::string>();
}

// A client may print its 32-bit number signed; both forms mean the same bits.
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
  auto bytes = base64_decode(text_field(request, name));
  if (!bytes) throw TokenError(kBadInput);
  return *std::move(bytes);
}

}  // namespace velm::token

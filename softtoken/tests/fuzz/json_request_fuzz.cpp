// Compares the reader of JSON requests with another parser: both accept the same flat objects and find the
// same members in them.
#include <cstring>
#include <memory>
#include <optional>

#include <nlohmann/json.hpp>

#include "softtoken/crypto/token_error.h"
#include "softtoken/service/json_request.h"
#include "tests/fuzz/fuzz_target.h"

using namespace velm::token;
using nlohmann::json;
using velm::fuzz::expect;

namespace {

// Returns nothing for other JSON than a flat object with at most 64 members.
std::optional<json> flat_object(std::string_view text) {
  size_t members = 0;
  bool flat = true;
  const json parsed = json::parse(
      text,
      [&](int depth, json::parse_event_t event, const json&) {
        flat &= event != json::parse_event_t::array_start;
        flat &= event != json::parse_event_t::object_start || depth == 0;
        members += event == json::parse_event_t::key ? 1 : 0;
        return true;
      },
      false);
  return flat && members <= 64 && parsed.is_object() ? std::optional(parsed) : std::nullopt;
}

std::optional<std::string> text_of(const JsonRequest& request, const std::string& name) {
  try {
    return std::string(request.text(name));
  } catch (const TokenError&) {
    return std::nullopt;
  }
}

void compare(const JsonRequest& request, const json& reference) {
  for (const auto& [name, value] : reference.items()) {
    expect(request.contains(name), "every member is found");
    expect(text_of(request, name) ==
               (value.is_string() ? std::optional(value.get<std::string>()) : std::nullopt),
           "texts are equal");
    expect(request.integer(name).has_value() == value.is_number_integer(), "integers are integers");
    if (value.is_number_integer() && !(value.is_number_unsigned() && value.get<uint64_t>() > INT64_MAX))
      expect(request.integer(name) == value.get<int64_t>(), "integers are equal");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  // The other parser ends at the first NUL.
  if (text.find('\0') != std::string_view::npos) return 0;

  const auto reference = flat_object(utf8_json(text));
  const auto memory = std::make_unique<char[]>(size + kJsonPadding);
  std::memcpy(memory.get(), data, size);
  try {
    const JsonRequest request({memory.get(), size}, size + kJsonPadding);
    expect(reference.has_value(), "what is accepted is a flat object");
    compare(request, *reference);
  } catch (const TokenError&) {
    expect(!reference.has_value(), "every flat object is accepted");
  }
  return 0;
}

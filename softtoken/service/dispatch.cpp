#include "softtoken/service/dispatch.h"

#include <algorithm>
#include <cstdio>
#include <new>

#include "softtoken/core/token_error.h"
#include "softtoken/service/frame.h"
#include "softtoken/service/functions.h"
#include "softtoken/service/json_fields.h"

namespace velm::token {
namespace {

constexpr const char* kJsonType = "application/json";
constexpr const char* kFrameType = "application/octet-stream";

template <typename Function>
const Function& find_function(std::span<const Function> functions, uint32_t number) {
  const auto found = std::ranges::find(functions, number, &Function::number);
  if (found == functions.end()) throw TokenError(kNotSupported);
  return *found;
}

// Runs one call and gives its result code; what it throws never reaches the HTTP side.
template <typename Call>
uint32_t run_guarded(Call&& call) {
  try {
    call();
    return kSuccess;
  } catch (const TokenError& error) {
    return error.code();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "velm_softtoken: %s\n", error.what());
    return kUnknownError;
  }
}

std::string json_answer(uint32_t code, const nlohmann::json& result) {
  char text[16];
  std::snprintf(text, sizeof text, "%X", static_cast<unsigned>(code));
  nlohmann::ordered_json answer{{"ErrorCode", text}};
  if (!result.is_null()) answer["Result"] = result;
  return answer.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

Answer answer_json(std::string_view body) {
  const nlohmann::json request = nlohmann::json::parse(body, nullptr, false);
  if (!request.is_object()) return {400, kJsonType, json_answer(kBadInput, nullptr)};
  nlohmann::json result;
  const uint32_t code = run_guarded([&] {
    result = find_function(json_functions(), number_field(request, "funcid")).run(request);
  });
  return {200, kJsonType, json_answer(code, result)};
}

Answer answer_frame(std::string_view body) {
  FrameReader request(as_bytes(body));
  Bytes data;
  const uint32_t code = run_guarded([&] {
    if (request.byte() != kFrameMark) throw TokenError(kBadInput);
    data = find_function(frame_functions(), request.byte()).run(request);
  });
  return {200, kFrameType, code == kSuccess ? frame_answer(data) : frame_answer(code)};
}

}  // namespace velm::token

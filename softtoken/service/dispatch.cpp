#include "softtoken/service/dispatch.h"

#include <algorithm>
#include <cstdio>

#include "protocol/endpoint.h"
#include "softtoken/service/frame.h"
#include "softtoken/service/functions.h"
#include "softtoken/service/json_fields.h"
#include "softtoken/service/module_functions.h"
#include "softtoken/service/received_text.h"
#include "softtoken/store/time_stamp_authority.h"

namespace velm::token {
namespace {

using protocol::kFrameType;
using protocol::kFunctionMember;
using protocol::kJsonType;

// Runs a function, records the call in the trace and returns the result code. Exceptions become result codes.
template <typename Table, typename Run>
uint32_t run_call(Trace& trace, Table functions, uint32_t number, Run&& run) {
  const auto started = std::chrono::steady_clock::now();
  const auto found =
      std::ranges::find(functions, number, [](const auto& function) { return function.number; });
  uint32_t code = kNotSupported;
  if (found != functions.end()) {
    try {
      run(*found);
      code = kSuccess;
    } catch (const TokenError& error) {
      code = error.code();
    } catch (const std::exception& error) {
      std::fprintf(stderr, "velm_softtoken: %s: %s\n", found->name, error.what());
      code = kUnknownError;
    }
  }
  trace.record(
      found != functions.end() ? found->name : "(unknown)", code,
      std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - started));
  return code;
}

std::string_view text_of(RequestBody& body) { return {body.text().data(), body.text().size()}; }

SecretText secret_text(std::string text) {
  const WipeAtEnd wiped(text);
  return {text.begin(), text.end()};
}

SecretText json_answer(uint32_t code, const nlohmann::json& result) {
  char text[16];
  std::snprintf(text, sizeof text, "%X", static_cast<unsigned>(code));
  nlohmann::ordered_json answer{{"ErrorCode", text}};
  if (!result.is_null()) answer["Result"] = result;
  return secret_text(answer.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

// A request is a flat object with few members. Other JSON is rejected during parsing, because it could need
// many times its own size in memory.
nlohmann::json parse_request(std::string_view text) {
  constexpr size_t kMostMembers = 64;
  using Event = nlohmann::json::parse_event_t;
  size_t members = 0;
  const auto require_flat = [&](int depth, Event event, const nlohmann::json&) {
    const bool nested = event == Event::array_start || (event == Event::object_start && depth > 0);
    const bool crowded = event == Event::key && ++members > kMostMembers;
    if (nested || crowded) throw TokenError(kBadInput);
    return true;
  };
  try {
    return nlohmann::json::parse(text, require_flat, false);
  } catch (const TokenError&) {
    return nullptr;
  }
}

Answer answer_call(Service& service, std::span<const JsonFunction> functions, std::string_view body) {
  nlohmann::json request = parse_request(utf8_json(body));
  const WipeTextsAtEnd wiped_request(request);
  if (!request.is_object() || !request.contains(kFunctionMember))
    return code_answer(400, kJsonType, kBadInput);
  nlohmann::json result;
  uint32_t code = kBadInput;
  if (request[kFunctionMember].is_number_unsigned()) {
    const auto number =
        static_cast<uint32_t>(std::min<uint64_t>(request[kFunctionMember].get<uint64_t>(), UINT32_MAX));
    code = run_call(service.trace, functions, number,
                    [&](const JsonFunction& function) { result = function.run(service.token, request); });
  }
  return {200, kJsonType, json_answer(code, result)};
}

}  // namespace

Answer code_answer(int status, const char* content_type, uint32_t code) {
  if (content_type == std::string_view(kFrameType))
    return {status, kFrameType, secret_text(protocol::build_answer(code))};
  return {status, kJsonType, json_answer(code, nullptr)};
}

Answer answer_json(Service& service, RequestBody& body) {
  return answer_call(service, json_functions(), text_of(body));
}

Answer answer_module(Service& service, RequestBody& body) {
  return answer_call(service, module_functions(), text_of(body));
}

Answer answer_frame(Service& service, RequestBody& body) {
  const auto frame = protocol::read_request(as_bytes(text_of(body)));
  if (!frame) return code_answer(400, kFrameType, kBadInput);
  FrameReader request(frame->fields);
  Bytes data;
  const uint32_t code =
      run_call(service.trace, frame_functions(), frame->function,
               [&](const FrameFunction& function) { data = function.run(service.token, request); });
  if (code != kSuccess) return code_answer(200, kFrameType, code);
  return {200, kFrameType, secret_text(protocol::build_answer(data))};
}

Answer answer_time_stamp(Service& service, RequestBody& body) {
  constexpr struct {
    uint32_t number;
    const char* name;
  } kTimeStamp[] = {{0, "TimeStamp"}};
  Bytes data;
  const uint32_t code = run_call(service.trace, std::span(kTimeStamp), 0, [&](const auto&) {
    data = answer_time_stamp_query(service.token.store(), as_bytes(text_of(body)));
  });
  return {code == kSuccess ? 200 : 500, protocol::kTimeStampReplyType, secret_text(as_text(data))};
}

}  // namespace velm::token

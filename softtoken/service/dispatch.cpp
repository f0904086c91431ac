#include "softtoken/service/dispatch.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include "protocol/endpoint.h"
#include "softtoken/service/frame.h"
#include "softtoken/service/functions.h"
#include "softtoken/service/json_request.h"
#include "softtoken/service/json_response.h"
#include "softtoken/service/module_functions.h"
#include "softtoken/store/time_stamp_authority.h"

namespace velm::token {
namespace {

using protocol::kFrameType;
using protocol::kFunctionMember;
using protocol::kJsonType;

/** The result of a call: a response if the code is kSuccess. */
struct CallResult {
  uint32_t code;
  SecretText response;
};

// Runs a function and records the call in the trace. Exceptions become result codes.
template <typename Run>
CallResult run_call(Trace& trace, const char* name, Run&& run) {
  const auto started = std::chrono::steady_clock::now();
  CallResult result{kSuccess, {}};
  try {
    result.response = run();
  } catch (const TokenError& error) {
    result.code = error.code();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "velm_softtoken: %s: %s\n", name, error.what());
    result.code = kUnknownError;
  }
  trace.record(
      name, result.code,
      std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - started));
  return result;
}

template <typename Request>
CallResult run_function(Service& service, std::span<const Function<Request>> functions, int64_t number,
                        Request& request) {
  const auto found = std::ranges::find(functions, number, &Function<Request>::number);
  return run_call(service.trace, found != functions.end() ? found->name : "(unknown)", [&] {
    require(found != functions.end(), kNotSupported);
    return found->run(service.token, request);
  });
}

Answer answer_call(Service& service, std::span<const JsonFunction> functions, RequestBody& body) {
  try {
    JsonRequest request(body.text(), body.capacity());
    require(request.contains(kFunctionMember), kBadInput);
    const std::optional<int64_t> number = request.integer(kFunctionMember);
    CallResult result = number && *number >= 0 ? run_function(service, functions, *number, request)
                                               : CallResult{kBadInput, {}};
    if (result.code != kSuccess) return code_answer(200, kJsonType, result.code);
    return {200, kJsonType, std::move(result.response)};
  } catch (const TokenError& error) {
    return code_answer(400, kJsonType, error.code());
  }
}

ByteView bytes_of(RequestBody& body) {
  return {reinterpret_cast<const uint8_t*>(body.text().data()), body.text().size()};
}

}  // namespace

Answer code_answer(int status, const char* content_type, uint32_t code) {
  if (content_type == std::string_view(kFrameType)) return {status, kFrameType, frame_failure(code)};
  return {status, kJsonType, json_failure(code)};
}

Answer answer_json(Service& service, RequestBody& body) {
  return answer_call(service, json_functions(), body);
}

Answer answer_module(Service& service, RequestBody& body) {
  return answer_call(service, module_functions(), body);
}

Answer answer_frame(Service& service, RequestBody& body) {
  const auto frame = protocol::read_request(bytes_of(body));
  if (!frame) return code_answer(400, kFrameType, kBadInput);
  FrameReader request(frame->fields);
  CallResult result = run_function(service, frame_functions(), frame->function, request);
  if (result.code != kSuccess) return code_answer(200, kFrameType, result.code);
  return {200, kFrameType, std::move(result.response)};
}

Answer answer_time_stamp(Service& service, RequestBody& body) {
  CallResult result = run_call(service.trace, "TimeStamp", [&] {
    const Bytes token = answer_time_stamp_query(service.token.store(), bytes_of(body));
    return SecretText(token.begin(), token.end());
  });
  return {result.code == kSuccess ? 200 : 500, protocol::kTimeStampReplyType, std::move(result.response)};
}

}  // namespace velm::token

#include "softtoken/service/call_duration.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <span>

#include "protocol/endpoint.h"
#include "protocol/function_number.h"

namespace velm::token {
namespace {

using protocol::FunctionNumber;
using protocol::ModuleFunction;

constexpr uint32_t kLongCalls[] = {number_of(FunctionNumber::Login), number_of(FunctionNumber::ChangePassWd),
                                   number_of(FunctionNumber::GenRandom),
                                   number_of(FunctionNumber::WriteUsrDataFile)};
constexpr uint32_t kLongModuleCalls[] = {number_of(ModuleFunction::create_file),
                                         number_of(ModuleFunction::delete_file),
                                         number_of(ModuleFunction::write_file)};

// Finds the function number of a JSON request in the form that clients send.
std::optional<uint32_t> function_in(std::string_view json) {
  const std::string name = '"' + std::string(protocol::kFunctionMember) + '"';
  const size_t member = json.find(name);
  if (member == std::string_view::npos) return std::nullopt;
  const size_t digits = json.find_first_not_of(" :", member + name.size());
  if (digits == std::string_view::npos) return std::nullopt;
  uint32_t number = 0;
  const auto parsed = std::from_chars(json.data() + digits, json.data() + json.size(), number);
  return parsed.ec == std::errc() ? std::optional(number) : std::nullopt;
}

}  // namespace

bool takes_long(const RequestHead& head, std::string_view body) {
  if (body.size() > kSmallBody) return true;
  const Answering answering = answering_of(head);
  if (answering != answer_json && answering != answer_module) return false;
  const auto function = function_in(body);
  const std::span<const uint32_t> calls =
      answering == answer_json ? std::span<const uint32_t>(kLongCalls) : kLongModuleCalls;
  return function && std::ranges::find(calls, *function) != calls.end();
}

}  // namespace velm::token

#include "robustness/hostile_answer.h"

#include <algorithm>

#include "support/answer.h"
#include "support/base64.h"

namespace velm::test {
namespace {

constexpr const char* kMembers[] = {"ErrorCode", "errorcode",  "Result",     "RESULT",    "Version",
                                    "UserCert",  "RetryCount", "RandomData", "Sign",      "SignData",
                                    "Info",      "DeviceInfo", "sealCount",  "sealcount", ""};

// Result codes as the service writes them, and malformed ones.
constexpr const char* kCodes[] = {
    R"("0")",       R"("0")",         R"("0")",         R"("00000000")", R"("0x0")",
    R"("-0")",      R"(" 0")",        R"("")",          R"("no code")",  R"("0 then")",
    R"("B000403")", R"("b000438")",   R"("7FFFFFFF")",  R"("80000000")", R"("FFFFFFFF")",
    R"("-1")",      R"("-80000001")", R"("0xB000442")", R"("+1")",       "0",
    R"("\u0030")",  R"("\u0000B")",   "null",           "true",          "[]",
    "{}",           R"(["0"])",       "184467440737",   "-1e999",        R"("FFFFFFFFFFFFFFFFFFFFFFFFF")"};

constexpr const char* kNumbers[] = {
    "0",          "-0",          "-1",
    "1",          "2147483647",  "2147483648",
    "4294967295", "4294967296",  "1e308",
    "1e999",      "-1e999",      "1e-400",
    "0.5",        "-2147483649", "99999999999999999999999999999999999999999999999999"};

constexpr const char* kTexts[] = {R"("")",
                                  R"("\u0000")",
                                  R"("AAAA\u0000AAAA")",
                                  R"("\ud800")",
                                  R"("\udc00\ud800")",
                                  R"("\ud83d\ude00")",
                                  R"("\uZZZZ")",
                                  R"("\x")",
                                  "\"\xC3\x28\"",
                                  "\"\xF0\x90\"",
                                  "\"\xFF\xFE\xFF\"",
                                  "\"\xC0\x80\"",
                                  "\"\xED\xA0\x80\"",
                                  "\"a raw \x01 control\"",
                                  R"("====")",
                                  R"("A===")",
                                  R"("AA=A")",
                                  R"("AAA")",
                                  R"("AA==AA==")",
                                  R"("AAAA====")",
                                  R"("A\nAAA")",
                                  R"("A\r\nA\r\nA\r\nA")",
                                  R"("----")",
                                  R"("%s%s%n%n")",
                                  "\"unterminated"};

// Returns a length from 0 to `most`, often equal or close to it.
size_t length_up_to(RandomSource& random, size_t most) {
  switch (random.below(4)) {
    case 0:
      return random.below(16);
    case 1:
      return most;
    case 2:
      return most - std::min(most, random.below(20));
    default:
      return random.below(most + 1);
  }
}

std::string quoted(const std::string& text) { return '"' + text + '"'; }

std::string any_value(RandomSource& random, size_t depth);

std::string any_list(RandomSource& random, size_t depth, bool named) {
  std::string text = named ? "{" : "[";
  for (size_t left = random.below(5); left > 0; --left) {
    if (named) text += quoted(random.one_of(kMembers)) + ":";
    text += any_value(random, depth) + (left > 1 ? "," : "");
  }
  return text + (named ? "}" : "]");
}

std::string any_value(RandomSource& random, size_t depth) {
  switch (random.below(depth == 0 ? 5 : 7)) {
    case 0:
      return random.one_of(kNumbers);
    case 1:
      return random.one_of(kTexts);
    case 2:
      return random.one_of(kCodes);
    case 3:
      return quoted(base64(random.bytes(random.below(100))));
    case 4:
      return random.one_in(2) ? "null" : "false";
    default:
      return any_list(random, depth - 1, random.one_in(2));
  }
}

// A value for the function's result, mostly of the right type and of any size.
std::string result_value(RandomSource& random, const ServiceFunction& function, size_t room) {
  if (random.one_in(4)) return any_value(random, 3);
  const size_t length = length_up_to(random, room);
  switch (function.kind) {
    case ResultKind::kNone:
      return "{}";
    case ResultKind::kText:
      return quoted(std::string(length, 'v'));
    case ResultKind::kBase64:
      return quoted(base64(random.bytes(length / 4 * 3)));
    case ResultKind::kNumber:
      return random.one_of(kNumbers);
    case ResultKind::kTexts:
      break;
  }
  std::string names = "[";
  while (names.size() < length) names += any_value(random, 0) + ",";
  return names + "\"last\"]";
}

std::string json_answer(RandomSource& random, const ServiceFunction& function, uint32_t size) {
  const size_t capacity = function.capacity.of(size);
  const std::string opening = R"({"ErrorCode":)" + std::string(random.one_of(kCodes)) + R"(,"Result":)";
  const std::string member = function.member ? "{" + quoted(function.member) + ":" : "";
  const size_t around = opening.size() + member.size() + 2 * quoted("").size();
  const std::string value = result_value(random, function, capacity - std::min(capacity, around));
  return opening + member + value + (function.member ? "}}" : "}");
}

std::string frame_answer(RandomSource& random, const ServiceFunction& function, uint32_t size) {
  const size_t capacity = function.capacity.of(size);
  const std::string data = random.bytes(length_up_to(random, capacity - std::min<size_t>(capacity, 8)));
  const auto length = static_cast<uint32_t>(data.size());
  const uint32_t codes[] = {0, 0, 0, 0, 0, 1, 0x0B000403, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  const uint32_t lengths[] = {length,     length,     length,     length,
                              length + 1, length - 1, 0,          size,
                              size + 1,   0x7FFFFFFF, 0x80000000, 0xFFFFFFF7,
                              0xFFFFFFF8, 0xFFFFFFF9, 0xFFFFFFFF, static_cast<uint32_t>(random.number())};
  return little_endian(random.one_of(codes)) + little_endian(random.one_of(lengths)) + data;
}

std::string well_formed(RandomSource& random, const ServiceFunction& function, uint32_t size) {
  return function.form == AnswerForm::kJson ? json_answer(random, function, size)
                                            : frame_answer(random, function, size);
}

std::string cut(RandomSource& random, const ServiceFunction& function, uint32_t size) {
  const std::string body = well_formed(random, function, size);
  return body.substr(0, random.below(body.size() + 1));
}

std::string altered(RandomSource& random, const ServiceFunction& function, uint32_t size) {
  std::string body = well_formed(random, function, size);
  for (size_t count = 1 + random.below(8); count > 0 && !body.empty(); --count) {
    body[random.below(body.size())] = static_cast<char>(random.number());
  }
  return body;
}

// Padded to the capacity, or to slightly or far more.
std::string filled(RandomSource& random, const ServiceFunction& function, uint32_t size) {
  std::string body = well_formed(random, function, size);
  const size_t capacity = function.capacity.of(size);
  const size_t sizes[] = {capacity, capacity, capacity + 1, capacity + 4096, 3 * capacity};
  body.resize(std::max(body.size(), random.one_of(sizes)), ' ');
  return body;
}

std::string of_the_other_form(RandomSource& random, const ServiceFunction& function, uint32_t size) {
  return function.form == AnswerForm::kJson ? frame_answer(random, function, size)
                                            : json_answer(random, function, size);
}

std::string any_document(RandomSource& random, const ServiceFunction&, uint32_t) {
  return any_list(random, 6, true);
}

// Nested deeper than a parser can recurse, with some levels closed.
std::string nested(RandomSource& random, const ServiceFunction& function, uint32_t size) {
  constexpr const char* kOpenings[] = {"[", R"({"Result":)", R"([{"ErrorCode":)",
                                       R"({"ErrorCode":"0","Result":)"};
  const std::string opening = random.one_of(kOpenings);
  const size_t levels = length_up_to(random, function.capacity.of(size) / opening.size());
  std::string body;
  for (size_t i = 0; i < levels; ++i) body += opening;
  return body + std::string(random.below(levels + 1), random.one_in(2) ? ']' : '}');
}

std::string noise(RandomSource& random, const ServiceFunction& function, uint32_t size) {
  return random.bytes(length_up_to(random, 2 * size_t{function.capacity.of(size)}));
}

constexpr decltype(&noise) kKinds[] = {well_formed,       well_formed, well_formed, cut,
                                       altered,           altered,     filled,      filled,
                                       of_the_other_form, nested,      noise,       any_document};

}  // namespace

std::string hostile_answer(RandomSource& random, const ServiceFunction& function, uint32_t size) {
  return random.one_of(kKinds)(random, function, size);
}

}  // namespace velm::test

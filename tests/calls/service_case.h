// Tests shared by all exported functions that use the local service, parametrised with tables of calls. A
// test program instantiates the suites with its calls:
//
//   INSTANTIATE_TEST_SUITE_P(Seal, ServiceRequest, testing::ValuesIn(kCalls));
//   INSTANTIATE_TEST_SUITE_P(Seal, ServiceFailure, testing::ValuesIn(kCalls));
//   INSTANTIATE_TEST_SUITE_P(Seal, LocalAnswer, testing::ValuesIn(kLocalCalls));
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <numeric>
#include <ostream>
#include <string>
#include <vector>

#include "support/allocation_faults.h"
#include "support/base64.h"
#include "support/client_test.h"
#include "support/guarded_buffer.h"
#include "support/log_reader.h"
#include "support/service_double.h"
#include "support/settled_memory.h"
#include "support/standins.h"

namespace velm::test {

// The value of a 32-bit output before a call.
constexpr uint32_t kUntouched = 0xAAAAAAAA;

// Makes the call. Functions that lack one of the two outputs ignore that argument.
using Call = std::function<uint32_t(const ClientLibrary& library, uint8_t* output, uint32_t* length)>;

// The same call with an output set to null.
inline Call without_output(Call call) {
  return [=](const ClientLibrary& library, uint8_t*, uint32_t* length) {
    return call(library, nullptr, length);
  };
}
inline Call without_length(Call call) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t*) {
    return call(library, output, nullptr);
  };
}
inline Call without_outputs(Call call) { return without_output(without_length(std::move(call))); }

inline const uint8_t* bytes_of(const std::string& text) {
  return reinterpret_cast<const uint8_t*>(text.data());
}
inline const uint8_t* bytes_of(const std::string* text) { return text ? bytes_of(*text) : nullptr; }
inline uint32_t size_of(const std::string& text) { return static_cast<uint32_t>(text.size()); }

// An address as logged.
inline std::string digits_of(const void* address) {
  char digits[17];
  std::snprintf(digits, sizeof digits, "%016llX",
                static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(address)));
  return digits;
}

// Builders for byte-frame requests.
inline std::string request_frame(char number, std::initializer_list<std::string> fields) {
  return std::accumulate(fields.begin(), fields.end(), std::string{'w', number});
}
inline std::string frame_bytes(const std::string& content) {
  return little_endian(size_of(content)) + content;
}
inline std::string frame_text(const std::string& text) { return frame_bytes(text + '\0'); }

enum class Form { kJson, kFrame, kFrameCode };

// A call that the local service answers.
struct ServiceCase {
  std::string log_name;  // the prefix of the function's failure lines
  Form form;
  uint32_t capacity;    // the largest answer that it accepts, in bytes
  std::string entry;    // entry line; <output> and <length> are replaced by the addresses; empty: none
  std::string request;  // the request body
  std::string answer;   // JSON: the text of "Result"; frame: the data
  std::string output;   // what the caller receives
  uint32_t length;      // the 32-bit output after the call
  Call call;
};

inline void PrintTo(const ServiceCase& row, std::ostream* stream) { *stream << row.log_name; }

// A call that needs no service: a size query or a refused argument.
struct LocalCase {
  std::string entry;
  std::string error;  // its only failure line; empty: none
  uint32_t result;
  uint32_t length;
  Call call;
};

inline void PrintTo(const LocalCase& row, std::ostream* stream) { *stream << row.entry << ' ' << row.error; }

// The result and outputs of one call. The output buffer is one byte larger than needed, to detect overruns.
struct MadeCall {
  MadeCall(const ClientLibrary& library, const Call& call, size_t output_size)
      : output(output_size + 1), result(call(library, output.data(), &length)) {}

  bool outputs_untouched() const { return output.untouched() && length == kUntouched; }

  // Replaces the placeholders of an entry line by this call's addresses.
  std::string with_addresses(std::string line) {
    replace(line, "<output>", output.data());
    replace(line, "<length>", &length);
    return line;
  }

  GuardedBuffer output;
  uint32_t length = kUntouched;
  uint32_t result;

 private:
  static void replace(std::string& line, const std::string& mark, const void* address) {
    if (const size_t at = line.find(mark); at != std::string::npos)
      line.replace(at, mark.size(), digits_of(address));
  }
};

// The entry lines since the load.
inline std::vector<std::string> entry_lines() {
  auto lines = LogReader::messages(Level::kInformation);
  if (!lines.empty()) lines.erase(lines.begin());  // written by the load
  return lines;
}

inline std::vector<std::string> lines_of(const std::string& line) {
  return line.empty() ? std::vector<std::string>{} : std::vector<std::string>{line};
}

inline std::string success_body(const ServiceCase& row) {
  switch (row.form) {
    case Form::kJson:
      return R"({"ErrorCode":"0","Result":)" + row.answer + "}";
    case Form::kFrame:
      return little_endian(0) + frame_bytes(row.answer);
    case Form::kFrameCode:
      break;
  }
  return little_endian(0);
}

class ServiceRequest : public testing::TestWithParam<ServiceCase> {
 protected:
  Standins standins;
  ServiceDouble service;
  ClientLibrary library{Marker::kPresent};
};

TEST_P(ServiceRequest, IsSentAndItsAnswerIsReturned) {
  const ServiceCase& row = GetParam();
  service.answers(Answer(success_body(row)));
  MadeCall made(library, row.call, row.output.size());
  EXPECT_EQ(made.result, SOR_OK);
  EXPECT_EQ(made.output.bytes(row.output.size()), row.output);
  EXPECT_TRUE(made.output.untouched(row.output.size()));
  EXPECT_EQ(made.length, row.length);

  const Request request = service.take_request();
  EXPECT_EQ(request.body, row.request);
  EXPECT_EQ(request.header("Content-Type"), row.form == Form::kJson
                                                ? "application/json;charset=UTF-8;"
                                                : "application/octet-stream;charset=UTF-8;");
  EXPECT_EQ(entry_lines(), lines_of(made.with_addresses(row.entry)));
  EXPECT_THAT(LogReader::errors(), testing::IsEmpty());
}

class ServiceFailure : public testing::TestWithParam<ServiceCase> {
 protected:
  static bool is_json() { return GetParam().form == Form::kJson; }
  static std::string line(const std::string& rest) { return GetParam().log_name + "->" + rest; }

  MadeCall make_call() { return {library, GetParam().call, GetParam().output.size()}; }

  // Plays the answer. The call must fail with this code, log only this line and leave its outputs unchanged.
  void expect_failure(Answer answer, uint32_t code, const std::string& failure_line) {
    LogReader::clear();
    service.answers(std::move(answer));
    const MadeCall made = make_call();
    EXPECT_EQ(made.result, code);
    EXPECT_TRUE(made.outputs_untouched());
    EXPECT_EQ(LogReader::errors(), lines_of(failure_line));
  }

  // Checks the failure for an answer that the function cannot parse.
  void expect_refusal(const std::string& body) {
    if (is_json()) {
      expect_failure(Answer(body), SOR_JSONPARSEERR, line("cJSON_Parse [" + body + "]"));
    } else {
      expect_failure(Answer(body), SOR_UNKNOWNERR,
                     line("response frame [" + std::to_string(body.size()) + "]"));
    }
  }

  // A success answer padded to `size` bytes with content that parsers ignore.
  static std::string padded_success(size_t size) {
    std::string body = success_body(GetParam());
    EXPECT_LE(body.size(), size);
    body.resize(size, ' ');
    return body;
  }

  Standins standins;
  ServiceDouble service;
  ClientLibrary library;
};

TEST_P(ServiceFailure, ServiceClosesTheConnection) {
  service.answers(Answer::nothing());
  const MadeCall made = make_call();
  EXPECT_EQ(made.result, SOR_COMMUNICATIONERR);
  EXPECT_TRUE(made.outputs_untouched());
  EXPECT_THAT(LogReader::errors(),
              testing::Contains(line(is_json() ? "post_json xrv = -1" : "xhttp::post xrv = -1")));
}

TEST_P(ServiceFailure, ServiceReturnsACode) {
  for (const uint32_t code : {1u, 0x0B000403u, 0x7FFFFFFFu}) {
    char text[64];
    std::snprintf(text, sizeof text, R"({"ErrorCode":"%X","Result":%s})", code, "{}");
    expect_failure(is_json() ? json(text) : frame_code(code), code, "");
  }
  if (!is_json()) expect_failure(frame(0xFFFFFFFE, "data"), 0xFFFFFFFE, "");
}

TEST_P(ServiceFailure, TruncatedAnswerIsRefused) {
  const std::string body = success_body(GetParam());
  for (size_t size = 0; size < body.size(); ++size) {
    SCOPED_TRACE(size);
    expect_refusal(body.substr(0, size));
  }
}

TEST_P(ServiceFailure, BrokenConnectionIsRefused) {
  const std::string body = success_body(GetParam());
  for (size_t size = 0; size < body.size(); ++size) {
    SCOPED_TRACE(size);
    service.answers(Answer(body).cut_after(size));
    const MadeCall made = make_call();
    EXPECT_EQ(made.result, is_json() ? SOR_JSONPARSEERR : SOR_UNKNOWNERR);
    EXPECT_TRUE(made.outputs_untouched());
  }
}

TEST_P(ServiceFailure, AnswersAreAcceptedUpToTheCapacity) {
  const uint32_t capacity = GetParam().capacity;
  service.answers(Answer(padded_success(capacity)));
  const MadeCall made = make_call();
  EXPECT_EQ(made.result, SOR_OK);
  EXPECT_EQ(made.output.bytes(GetParam().output.size()), GetParam().output);
  EXPECT_EQ(made.length, GetParam().length);
  EXPECT_THAT(LogReader::errors(), testing::IsEmpty());

  const std::string total = std::to_string(capacity + 1);
  expect_failure(Answer(padded_success(capacity + 1)), is_json() ? SOR_JSONPARSEERR : SOR_UNKNOWNERR,
                 line(is_json() ? "cJSON_Parse []" : "response frame [" + total + "]"));
  if (is_json()) return;
  expect_failure(Answer(little_endian(0x0B000403) + std::string(capacity - 3, 'x')), SOR_UNKNOWNERR,
                 line("response frame [" + total + "]"));
}

TEST_P(ServiceFailure, FrameShorterThanItsLengthIsRefused) {
  if (GetParam().form != Form::kFrame) return;
  for (const uint32_t length : {size_of(GetParam().answer) + 1, 0x7FFFFFFFu, 0xFFFFFFF8u, 0xFFFFFFFFu}) {
    expect_refusal(little_endian(0) + little_endian(length) + GetParam().answer);
  }
}

TEST_P(ServiceFailure, AnswerOfAnotherFormIsRefused) {
  if (!is_json()) return;
  expect_refusal("no JSON");
  for (const char* body : {"[]", "{}", R"({"ErrorCode":0})", R"({"ErrorCode":null,"Result":{}})"}) {
    expect_failure(json(body), SOR_UNKNOWNERR, "");
  }
}

TEST_P(ServiceFailure, SuccessWithoutResultHasNoOutput) {
  if (!is_json()) return;
  std::vector<std::string> bodies{R"({"ErrorCode":"0"})", R"({"ErrorCode":"0","Result":7})",
                                  R"({"ErrorCode":"0","Result":{"Other":"AAAA"}})"};
  const std::string encoded = base64(GetParam().output);
  std::string success = success_body(GetParam());
  if (const size_t at = success.find(encoded); !encoded.empty() && at != std::string::npos) {
    bodies.push_back(success.replace(at, encoded.size(), "!not base64!"));
  }
  for (const std::string& body : bodies) {
    SCOPED_TRACE(body);
    service.answers(json(body));
    const MadeCall made = make_call();
    EXPECT_EQ(made.result, SOR_OK);
    EXPECT_TRUE(made.output.untouched());
    EXPECT_EQ(made.length, GetParam().length == kUntouched ? kUntouched : 0);
    EXPECT_THAT(LogReader::errors(), testing::IsEmpty());
  }
}

// Allocations after the transport's read buffer belong to the JSON reader, which reports missing memory as a
// parse error.
TEST_P(ServiceFailure, EachAllocationMayFail) {
  constexpr size_t kReadBuffer = 1'048'576;
  service.responds([](const Request&) { return Answer(success_body(GetParam())); });
  settle_memory(library);
  AllocationFaults memory(library.module());
  {
    const MadeCall made = make_call();
    ASSERT_EQ(made.result, SOR_OK);
  }
  EXPECT_EQ(memory.outstanding(), 0u);
  const std::vector<size_t> sizes = memory.sizes();
  const auto read_buffer =
      static_cast<size_t>(std::find(sizes.begin(), sizes.end(), kReadBuffer) - sizes.begin());
  ASSERT_LT(read_buffer, sizes.size());

  for (const bool all_that_follow : {false, true}) {
    for (size_t nth = 1; nth <= sizes.size(); ++nth) {
      SCOPED_TRACE(std::to_string(nth) + (all_that_follow ? " and all that follow" : ""));
      memory.restart();
      all_that_follow ? memory.fail_from(nth) : memory.fail_at(nth);
      const MadeCall made = make_call();
      EXPECT_TRUE(memory.has_failed());
      EXPECT_EQ(made.result, nth <= read_buffer + 1 ? SOR_MEMORYERR : SOR_JSONPARSEERR);
      EXPECT_TRUE(made.outputs_untouched());
      EXPECT_EQ(memory.outstanding(), 0u);
    }
  }
}

// No service is running, so a call that contacts it fails to connect.
class ServiceAbsent : public testing::TestWithParam<ServiceCase> {
 protected:
  Standins standins;
  ClientLibrary library;
};

TEST_P(ServiceAbsent, CannotBeReached) {
  const MadeCall made(library, GetParam().call, GetParam().output.size());
  EXPECT_EQ(made.result, SOR_COMMUNICATIONERR);
  EXPECT_TRUE(made.outputs_untouched());
  const std::vector<std::string> errors = LogReader::errors();
  ASSERT_EQ(errors.size(), 2u);  // the first one is the transport's
  EXPECT_EQ(errors[1], GetParam().log_name + (GetParam().form == Form::kJson ? "->post_json xrv = -57"
                                                                             : "->xhttp::post xrv = -57"));
}

class LocalAnswer : public testing::TestWithParam<LocalCase> {
 protected:
  Standins standins;
  ClientLibrary library{Marker::kPresent};
};

TEST_P(LocalAnswer, NeedsNoService) {
  MadeCall made(library, GetParam().call, 0);
  EXPECT_EQ(made.result, GetParam().result);
  EXPECT_TRUE(made.output.untouched());
  EXPECT_EQ(made.length, GetParam().length);
  EXPECT_EQ(entry_lines(), lines_of(made.with_addresses(GetParam().entry)));
  EXPECT_EQ(LogReader::errors(), lines_of(GetParam().error));
}

}  // namespace velm::test

// The suites of a family of calls: how they handle any answer, and what they answer without the service.
// `variants` are further requests of the same functions, for example with optional arguments omitted.
#define INSTANTIATE_SERVICE_FAMILY(family, calls, variants, local_calls)                   \
  INSTANTIATE_TEST_SUITE_P(family, ServiceRequest, testing::ValuesIn(calls));              \
  INSTANTIATE_TEST_SUITE_P(family##Variants, ServiceRequest, testing::ValuesIn(variants)); \
  INSTANTIATE_TEST_SUITE_P(family, ServiceFailure, testing::ValuesIn(calls));              \
  INSTANTIATE_TEST_SUITE_P(family, ServiceAbsent, testing::ValuesIn(calls));               \
  INSTANTIATE_TEST_SUITE_P(family, LocalAnswer, testing::ValuesIn(local_calls))

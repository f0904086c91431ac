// The 32 functions that use the local service, as data: how each is called, which answers it accepts, and the
// buffer size it requires.
#pragma once

#include <cstdint>
#include <span>

namespace velm::test {

enum class AnswerForm { kJson, kFrame, kFrameCode };

// The type of the result in a JSON success answer.
enum class ResultKind { kNone, kText, kBase64, kNumber, kTexts };

// Use of the 32-bit output, if any: it is written on success; some functions also clear it when they contact
// the service.
enum class LengthUse { kNone, kWritten, kCleared };

// A number of bytes that may depend on the length of the caller's data.
struct ByteCount {
  uint32_t constant = 0;
  float for_each_byte = 0;

  uint32_t of(uint32_t size) const {
    return constant + static_cast<uint32_t>(static_cast<float>(size) * for_each_byte);
  }
};

struct ServiceArguments {
  const uint8_t* data;  // `size` bytes that end at an inaccessible page
  uint32_t size;
  uint8_t* output;   // null: omitted
  uint32_t* length;  // null: omitted
};

struct ServiceFunction {
  const char* name;
  AnswerForm form;
  ByteCount capacity;  // the largest answer that it accepts
  ByteCount room;      // output size that is always sufficient
  ResultKind kind;     // of JSON answers
  const char* member;  // of "Result"; null: "Result" itself
  LengthUse length;
  uint32_t (*call)(const ServiceArguments& arguments);
};

std::span<const ServiceFunction> service_functions();

}  // namespace velm::test

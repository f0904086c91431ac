// The 32 functions that ask the local service, as data: how each is called, what it takes as an answer, and
// what a caller's buffer needs.
#pragma once

#include <cstdint>
#include <span>

namespace velm::test {

enum class AnswerForm { kJson, kFrame, kFrameCode };

// What a JSON answer of success holds for the function.
enum class ResultKind { kNone, kText, kBase64, kNumber, kTexts };

// What becomes of the 32-bit output, where there is one: it is written on success, and some functions clear
// it as soon as they ask the service.
enum class LengthUse { kNone, kWritten, kCleared };

// A count of bytes that may grow with the length of the caller's data.
struct ByteCount {
  uint32_t constant = 0;
  float for_each_byte = 0;

  uint32_t of(uint32_t size) const {
    return constant + static_cast<uint32_t>(static_cast<float>(size) * for_each_byte);
  }
};

struct ServiceArguments {
  const uint8_t* data;  // `size` bytes that end at a page without access
  uint32_t size;
  uint8_t* output;   // null: left out
  uint32_t* length;  // null: left out
};

struct ServiceFunction {
  const char* name;
  AnswerForm form;
  ByteCount capacity;  // bytes of answer that it takes
  ByteCount room;      // bytes of output that are always enough
  ResultKind kind;     // of JSON answers
  const char* member;  // of "Result"; null: "Result" itself
  LengthUse length;
  uint32_t (*call)(const ServiceArguments& arguments);
};

std::span<const ServiceFunction> service_functions();

}  // namespace velm::test

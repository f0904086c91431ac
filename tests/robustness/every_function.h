// Each exported function, with arguments with which it reaches its module or the local service.
#pragma once

#include <concepts>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include "support/client_library.h"

namespace velm::test {

// The outputs of the functions. Every text argument is `kText`, the name of a container and of a file.
struct EveryOutput {
  static constexpr uint32_t kRoom = 65536;
  static constexpr uint8_t kFill = 0xAA;

  std::vector<uint8_t> bytes = std::vector<uint8_t>(kRoom, kFill);
  uint32_t numbers[3] = {kRoom, kRoom, kRoom};
  size_t next_number = 0;

  bool untouched() const {
    for (const uint8_t byte : bytes) {
      if (byte != kFill) return false;
    }
    return true;
  }
  bool lengths_untouched() const { return numbers[0] == kRoom && numbers[1] == kRoom && numbers[2] == kRoom; }
};

constexpr char kEveryText[] = "SM2_SCAN_CONTAINER";

template <class Type>
Type every_argument(EveryOutput& output) {
  static const uint8_t input[64] = {0x30, 0x03, 0x02, 0x01, 0x00};
  if constexpr (std::is_same_v<Type, const char*>) {
    return kEveryText;
  } else if constexpr (std::is_same_v<Type, const uint8_t*>) {
    return input;
  } else if constexpr (std::is_same_v<Type, uint32_t*>) {
    return &output.numbers[output.next_number++];
  } else if constexpr (std::is_same_v<Type, const void*>) {
    return nullptr;
  } else if constexpr (std::is_pointer_v<Type>) {
    return reinterpret_cast<Type>(output.bytes.data());
  } else {
    return Type{1};
  }
}

struct EveryFunction {
  const char* name;
  std::function<uint32_t(const ClientLibrary&, EveryOutput&)> call;
};

template <class Result, class... Arguments>
uint32_t call_with_arguments(const ClientFunction<Result(Arguments...)>& function, EveryOutput& output) {
  if constexpr (std::is_void_v<Result>) {
    function(every_argument<Arguments>(output)...);
    return SOR_OK;
  } else {
    return function(every_argument<Arguments>(output)...);
  }
}

inline std::vector<EveryFunction> every_function() {
  return {
#define VELM_FUNCTION(function)                                       \
  {#function, [](const ClientLibrary& library, EveryOutput& output) { \
     return call_with_arguments(library.function, output);            \
   }},
#include "client_functions.inc"
#undef VELM_FUNCTION
  };
}

}  // namespace velm::test

// What every fuzz target has: the entry that is given one input after another, and the end of the program
// where a property does not hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// Once, before the first input; a target need not have it.
extern "C" int LLVMFuzzerInitialize(int* argument_count, char*** arguments);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace velm::fuzz {

inline void expect(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", property);
  std::abort();
}

}  // namespace velm::fuzz

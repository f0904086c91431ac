// Shared by all fuzz targets: the entry point, called for one input after another, and a check that aborts
// the program if a property does not hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// Optional. Called once, before the first input.
extern "C" int LLVMFuzzerInitialize(int* argument_count, char*** arguments);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace velm::fuzz {

inline void expect(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", property);
  std::abort();
}

}  // namespace velm::fuzz

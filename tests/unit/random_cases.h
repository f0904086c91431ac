// Checks a property for generated cases. Each case depends on the seed and on its number only. Every run
// prints the seed, and a failure the case; these environment variables repeat it alone:
//
//   VELM_CASE_SEED=N   the seed
//   VELM_CASE_FIRST=N  number of the first case
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/random_source.h"

namespace velm::test {

inline uint64_t case_setting(const char* name, uint64_t otherwise) {
  const char* text = std::getenv(name);
  return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

// Calls `property` with the random source of each case, until a case fails.
template <class Property>
void for_random_cases(size_t count, Property property) {
  const uint64_t seed = case_setting("VELM_CASE_SEED", 20260301);
  const uint64_t first = case_setting("VELM_CASE_FIRST", 0);
  std::printf("VELM_CASE_SEED=%llu\n", static_cast<unsigned long long>(seed));
  for (uint64_t number = first; number < first + count && !testing::Test::HasFailure(); ++number) {
    SCOPED_TRACE("VELM_CASE_SEED=" + std::to_string(seed) + " VELM_CASE_FIRST=" + std::to_string(number));
    RandomSource random(seed, number);
    property(random);
  }
}

}  // namespace velm::test

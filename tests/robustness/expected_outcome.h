// Computes the expected result of a call from the service's answer, independently of the library: the rules
// of the two answer formats only.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "robustness/service_functions.h"

namespace velm::test {

struct Outcome {
  std::vector<uint32_t> codes;  // allowed codes; empty: any
  // With code 0 and if set: the exact output, and the value of the length (nullopt: unchanged).
  bool is_foretold = false;
  std::string output{};
  std::optional<uint32_t> length{};

  bool allows(uint32_t code) const;
};

// `received` is the whole body as received; `capacity` is the largest answer that the call accepts.
Outcome expected_outcome(const ServiceFunction& function, uint32_t size, const std::string& received,
                         size_t capacity);

}  // namespace velm::test

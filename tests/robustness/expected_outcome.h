// What a call has to make of an answer, worked out apart from the library: the rules of the two answer forms,
// and no more.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "robustness/service_functions.h"

namespace velm::test {

struct Outcome {
  std::vector<uint32_t> codes;  // one of these; none: any
  // With code 0, unless they are not foretold: exactly what is written, and what the length becomes (nothing:
  // it stays).
  bool is_foretold = false;
  std::string output{};
  std::optional<uint32_t> length{};

  bool allows(uint32_t code) const;
};

// `received` is the whole body as it came; `capacity` what the call takes of it.
Outcome expected_outcome(const ServiceFunction& function, uint32_t size, const std::string& received,
                         size_t capacity);

}  // namespace velm::test

// Answers that a correct service never sends, and some that it does: truncated, oversized, of wrong types,
// inconsistent, or not an answer at all.
#pragma once

#include <string>

#include "robustness/service_functions.h"
#include "support/random_source.h"

namespace velm::test {

// Returns the body of an answer to a call of `function` with `size` bytes of data.
std::string hostile_answer(RandomSource& random, const ServiceFunction& function, uint32_t size);

}  // namespace velm::test

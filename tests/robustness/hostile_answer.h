// Answers that no honest service gives, and some that one would: truncated, overlong, of wrong types, at odds
// with themselves, or no answers at all.
#pragma once

#include <string>

#include "robustness/random_source.h"
#include "robustness/service_functions.h"

namespace velm::test {

// The body of an answer to a call of `function` with `size` bytes of data.
std::string hostile_answer(RandomSource& random, const ServiceFunction& function, uint32_t size);

}  // namespace velm::test

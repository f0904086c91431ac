// Test programs, and the library built for them, trap on undefined behaviour.
#include <gtest/gtest.h>

#include <limits>

#include "support/fresh_process.h"

namespace {

using namespace velm::test;

constexpr uint32_t kIllegalInstruction = 0xC000001D;

// Adds a number from outside, so that the compiler cannot compute the sum.
const ChildProcess adds_its_arguments("adds its arguments", [](const Arguments& arguments) {
  int sum = std::numeric_limits<int>::max();
  sum += static_cast<int>(arguments.size());
  return sum > 0 ? 0 : 1;
});

TEST(UndefinedBehaviour, TerminatesWithAnIllegalInstruction) {
  EXPECT_EQ(run_child("adds its arguments").exit_code, 0u);
  EXPECT_EQ(run_child("adds its arguments", {"one too many"}).exit_code, kIllegalInstruction);
}

}  // namespace

// Tests which calls the trace contains, and in which order.
#include "softtoken/service/trace.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace velm::token {
namespace {

constexpr size_t kMostCalls = 1000;

std::vector<std::string> lines_of(const Trace& trace) {
  std::istringstream text(trace.text());
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

// The result codes number the calls.
TEST(Trace, ContainsTheLastThousandCallsOldestFirst) {
  Trace trace;
  EXPECT_EQ(trace.text(), "");
  for (uint32_t made = 1; made <= 2 * kMostCalls + 1; ++made) {
    trace.record("Login", made, std::chrono::microseconds(5));
    if (made % 500 > 1 && made > 2) continue;
    const std::vector<std::string> lines = lines_of(trace);
    ASSERT_EQ(lines.size(), std::min<size_t>(made, kMostCalls));
    for (size_t i = 0; i < lines.size(); ++i) {
      char expected[64];
      std::snprintf(expected, sizeof expected, "  Login                    0x%08X         5 us",
                    static_cast<unsigned>(made - lines.size() + i + 1));
      ASSERT_EQ(lines[i].substr(std::string_view("2026-01-01 00:00:00.000").size()), expected) << made;
    }
  }
}

}  // namespace
}  // namespace velm::token

#include "protocol/result_codes.h"

#include <gtest/gtest.h>

#include <set>
#include <utility>

using namespace velm::protocol;

namespace {

using Pair = std::pair<uint32_t, uint32_t>;

TEST(ResultCodes, OfTheServiceInTheProvider) {
  constexpr Pair kExpected[] = {
      {0x0B000002, 0x02000002}, {0x0B000007, 0x02000007}, {0x0B000200, 0x02000200}, {0x0B000201, 0x02000201},
      {0x0B000300, 0x02000300}, {0x0B000309, 0x02000309}, {0x0B000310, 0x02000310}, {0x0B000311, 0x02000311},
      {0x0B000405, 0x02000320}, {0x0B000406, 0x02000319}, {0x0B000407, 0x02000318}, {0x0B000408, 0x02000316},
      {0x0B000501, 0x02000317}, {0x0B010012, 0x0200052C}, {0x0B000409, 0x02000507}, {0x0B000410, 0x02000308},
      {0x0B000415, 0x02000505}, {0x0B000416, 0x02000506}, {0x0B000429, 0x0200050A}, {0x0B000417, 0x02000012},
      {0x0B000419, 0x02000002}, {0x0B000422, 0x02000200}, {0x0B000425, 0x02000521}, {0x0B000426, 0x02000525},
      {0x0B000442, 0x02000526}, {0x0B000438, 0x02000403}, {0x0B000432, 0x02000515}, {0x0B000433, 0x02000516},
      {0x0B000434, 0x02000517}, {0x0B000435, 0x02000518}, {0x0B000504, 0x02001002}, {0x0B000440, 0x02000523},
      {0x0B000444, 0x02000528}, {0x0B000009, 0x02000009},
  };
  std::set<uint32_t> listed;
  for (const auto& [service, saf] : kExpected) {
    EXPECT_EQ(saf_code_of(service), saf) << std::hex << service;
    listed.insert(service);
  }
  for (const uint32_t family : {0x0B000000u, 0x0B010000u}) {
    for (uint32_t code = family; code < family + 0x600; ++code) {
      if (!listed.contains(code)) {
        EXPECT_EQ(saf_code_of(code), 0x02000001u) << std::hex << code;
      }
    }
  }
  EXPECT_EQ(saf_code_of(0), 0x02000001u);
  EXPECT_EQ(saf_code_of(0xFFFFFFFF), 0x02000001u);
}

// A selection; the test of the provider context has the complete table.
TEST(ResultCodes, OfTheProviderInTheLibrary) {
  constexpr Pair kExpected[] = {
      {0, 0},
      {0x02000009, 0x0B000009},  // the last code of a range, and the one after it
      {0x0200000A, 0x0B000001},
      {0x02000301, 0x0B000001},  // a gap between two ranges
      {0x02000302, 0x0B000302},
      {0x02000318, 0xFFFFFFFE},
      {0x02001002, 0x0B000504},
      {0x02001003, 0x0B000001},
      {0x0B000425, 0x0B000001},
      {0xFFFFFFFF, 0x0B000001},
  };
  for (const auto& [saf, client] : kExpected) EXPECT_EQ(client_code_of(saf), client) << std::hex << saf;
}

}  // namespace

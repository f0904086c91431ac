#include "protocol/identifiers.h"

#include <gtest/gtest.h>

namespace velm::protocol {
namespace {

uint32_t cipher_number(uint32_t algorithm) { return number_of(cipher_of(algorithm)); }
uint32_t mode_number(uint32_t algorithm) { return number_of(mode_of(algorithm)); }

struct Row {
  uint32_t algorithm;
  uint32_t cipher;
  uint32_t mode;
};

TEST(CipherNumbers, ForEachCipherAndMode) {
  constexpr Row kRows[] = {
      {0x00000401, 108, 1}, {0x00000402, 108, 2}, {0x00000404, 108, 3}, {0x00000408, 108, 4},
      {0x00002001, 101, 1}, {0x00004002, 107, 2}, {0x00008004, 107, 3}, {0x00010008, 107, 4},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.algorithm);
    EXPECT_EQ(cipher_number(row.algorithm), row.cipher);
    EXPECT_EQ(mode_number(row.algorithm), row.mode);
  }
}

TEST(CipherNumbers, UnknownCiphersHaveNone) {
  for (const uint32_t algorithm :
       {0x00000u, 0x00100u, 0x00200u, 0x00300u, 0x00500u, 0x00600u, 0x00800u, 0x01000u,
        0x01F00u, 0x02100u, 0x02400u, 0x03F00u, 0x04100u, 0x06000u, 0x07F00u, 0x08100u,
        0x0C000u, 0x0C001u, 0x0FF00u, 0x10100u, 0x18000u, 0x20000u, 0xFFF00u}) {
    EXPECT_EQ(cipher_number(algorithm), 0u) << std::hex << algorithm;
  }
}

TEST(CipherNumbers, HighBitsAreIgnored) {
  EXPECT_EQ(cipher_number(0xFFF00402), 108u);
  EXPECT_EQ(cipher_number(0x00102001), 101u);
  EXPECT_EQ(cipher_number(0x00100001), 0u);
}

TEST(CipherNumbers, ModeRequiresASingleBit) {
  for (uint32_t low = 0; low <= 0xFF; ++low) {
    const uint32_t expected = low == 1 ? 1 : low == 2 ? 2 : low == 4 ? 3 : low == 8 ? 4 : 0;
    EXPECT_EQ(mode_number(0x400 | low), expected) << low;
  }
  EXPECT_EQ(mode_number(0xFFFFFF02), 2u);
}

}  // namespace
}  // namespace velm::protocol

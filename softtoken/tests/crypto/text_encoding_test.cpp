#include "softtoken/crypto/text_encoding.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace velm::token {
namespace {

struct Range {
  uint8_t first;
  uint8_t last;

  bool contains(uint8_t byte) const { return byte >= first && byte <= last; }
};

// The table of well-formed byte sequences in the Unicode standard (chapter 3, D92).
struct Row {
  Range lead;
  Range second;
  size_t length;
};
constexpr Row kWellFormed[] = {
    {{0x00, 0x7F}, {0x00, 0xFF}, 1}, {{0xC2, 0xDF}, {0x80, 0xBF}, 2}, {{0xE0, 0xE0}, {0xA0, 0xBF}, 3},
    {{0xE1, 0xEC}, {0x80, 0xBF}, 3}, {{0xED, 0xED}, {0x80, 0x9F}, 3}, {{0xEE, 0xEF}, {0x80, 0xBF}, 3},
    {{0xF0, 0xF0}, {0x90, 0xBF}, 4}, {{0xF1, 0xF3}, {0x80, 0xBF}, 4}, {{0xF4, 0xF4}, {0x80, 0x8F}, 4},
};

size_t expected_length(std::string_view text) {
  const auto at = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
  for (const Row& row : kWellFormed) {
    if (!row.lead.contains(at(0)) || text.size() < row.length) continue;
    if (row.length > 1 && !row.second.contains(at(1))) continue;
    bool continued = true;
    for (size_t i = 2; i < row.length; ++i) continued = continued && Range{0x80, 0xBF}.contains(at(i));
    if (continued) return row.length;
  }
  return 0;
}

// Every first and second byte, with the bytes round the limits behind them.
TEST(Utf8, IsWhatTheStandardSays) {
  constexpr uint8_t kBehind[] = {0x00, 0x7F, 0x80, 0x9F, 0xBF, 0xC0, 0xFF};
  for (int lead = 0; lead < 256; ++lead) {
    for (int second = 0; second < 256; ++second) {
      for (const uint8_t third : kBehind) {
        for (const uint8_t fourth : kBehind) {
          const char bytes[] = {static_cast<char>(lead), static_cast<char>(second), static_cast<char>(third),
                                static_cast<char>(fourth)};
          for (size_t size = 1; size <= sizeof bytes; ++size) {
            const std::string text(bytes, size);
            ASSERT_EQ(utf8_character_length(text), expected_length(text))
                << std::hex << lead << " " << second << " " << int{third} << " " << int{fourth} << " "
                << size;
          }
        }
      }
    }
  }
}

TEST(Utf8, EveryCharacterIsRead) {
  for (uint32_t point = 0; point <= 0x10FFFF; ++point) {
    if (point == 0xD800) point = 0xE000;
    std::string text;
    const auto add = [&](uint32_t byte) { text += static_cast<char>(byte); };
    if (point < 0x80) {
      add(point);
    } else if (point < 0x800) {
      add(0xC0 | point >> 6);
    } else if (point < 0x10000) {
      add(0xE0 | point >> 12);
      add(0x80 | (point >> 6 & 0x3F));
    } else {
      add(0xF0 | point >> 18);
      add(0x80 | (point >> 12 & 0x3F));
      add(0x80 | (point >> 6 & 0x3F));
    }
    if (point >= 0x80) add(0x80 | (point & 0x3F));
    ASSERT_EQ(utf8_character_length(text), text.size()) << point;
    ASSERT_TRUE(is_utf8(text + text)) << point;
    ASSERT_FALSE(is_utf8(text + "\x80")) << point;
  }
}

}  // namespace
}  // namespace velm::token

#include "basekit/basic/utf8_walk.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

using velm::xencoding_is_utf8;

namespace {

// Copies the bytes to a block of exactly their size, so that a sanitizer detects an overrun.
bool is_utf8(std::string_view text) {
  const auto bytes = std::make_unique<char[]>(text.size());
  text.copy(bytes.get(), text.size());
  return xencoding_is_utf8(bytes.get(), text.size());
}

std::string bytes(std::initializer_list<int> values) {
  std::string text;
  for (int value : values) text += static_cast<char>(value);
  return text;
}

struct Row {
  const char* what;
  std::string text;
  bool utf8;
};

TEST(Utf8Walk, ClassifiesEachForm) {
  const Row rows[] = {
      {"nothing", "", true},
      {"ASCII", "C:\\data\\file.txt", true},
      {"Chinese in UTF-8", "C:\\\u6587\u4EF6\\\u6570\u636E.txt", true},
      {"Chinese in GBK", "C:\\" + bytes({0xCE, 0xC4, 0xBC, 0xFE}), false},
      {"four bytes", "\U00020BB7", true},
      {"first and last of four bytes", bytes({0xF0, 0x80, 0x80, 0x80, 0xF7, 0xBF, 0xBF, 0xBF}), true},
      {"an accented letter", "caf\u00E9", false},
      {"an accented letter before Chinese", "\u00E9\u6587", false},
      {"an accented letter after Chinese", "\u6587\u00E9", false},
      {"a continuation at the head", bytes({0x80}), false},
      {"a last continuation at the head", "a" + bytes({0xBF}), false},
      {"above the leads", bytes({0xF8, 0x80, 0x80, 0x80}), false},
      {"the highest byte", bytes({0xFF}), false},
      {"a bad second byte of three", bytes({0xE6, 0x41, 0x87}), false},
      {"a bad third byte of three", bytes({0xE6, 0x96, 0xC0}), false},
      {"a bad second byte of four", bytes({0xF0, 0x7F, 0x80, 0x80}), false},
      {"a bad third byte of four", bytes({0xF0, 0x80, 0x7F, 0x80}), false},
      {"a bad fourth byte of four", bytes({0xF0, 0x80, 0x80, 0xC0}), false},
      {"a bad second byte of two", bytes({0xC3, 0x41}), false},
      {"a zero byte inside the length", std::string("a\0b", 3), true},
  };
  for (const Row& row : rows) EXPECT_EQ(is_utf8(row.text), row.utf8) << row.what;
}

TEST(Utf8Walk, AcceptsATruncatedLastCharacter) {
  for (const std::string& cut : {bytes({0xC3}), bytes({0xE6}), bytes({0xE6, 0x96}), bytes({0xF0}),
                                 bytes({0xF0, 0x80}), bytes({0xF0, 0x80, 0x80})}) {
    EXPECT_TRUE(is_utf8(cut)) << cut.size();
    EXPECT_TRUE(is_utf8("text" + cut)) << cut.size();
  }
  EXPECT_TRUE(is_utf8(bytes({0xE6, 0x41}))) << "the rest of a truncated character is not checked";
  EXPECT_TRUE(is_utf8(bytes({0xF0, 0x41, 0x41})));
}

TEST(Utf8Walk, RejectsTwoByteSequences) {
  for (int lead = 0xC0; lead <= 0xDF; ++lead) {
    for (int trail = 0x80; trail <= 0xBF; ++trail) EXPECT_FALSE(is_utf8(bytes({lead, trail})));
  }
}

}  // namespace

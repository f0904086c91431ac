#include "basekit/basic/encoding.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/import_patch.h"

using namespace velm;

namespace {

constexpr char kChinese[] = "C:\\\u6587\u4EF6";
constexpr char kChineseInGbk[] = "C:\\\xCE\xC4\xBC\xFE";
constexpr uint64_t kNeeded = sizeof kChineseInGbk;

TEST(Encoding, ConvertsUtf8) {
  char text[64];
  uint64_t length = sizeof text;
  EXPECT_EQ(xencoding_utf8_to_gbk(kChinese, text, &length), 0);
  EXPECT_STREQ(text, kChineseInGbk);
  EXPECT_EQ(length, kNeeded - 1);
}

TEST(Encoding, AsciiIsUnchanged) {
  char text[64];
  uint64_t length = sizeof text;
  EXPECT_EQ(xencoding_utf8_to_gbk("C:\\file.txt", text, &length), 0);
  EXPECT_STREQ(text, "C:\\file.txt");
  EXPECT_EQ(length, 11u);
}

TEST(Encoding, ConvertsTheEmptyText) {
  char text[1] = {'x'};
  uint64_t length = 1;
  EXPECT_EQ(xencoding_utf8_to_gbk("", text, &length), 0);
  EXPECT_EQ(text[0], '\0');
  EXPECT_EQ(length, 0u);
}

TEST(Encoding, ReportsTheNeededLengthWithTerminator) {
  for (uint64_t before : {uint64_t{0}, uint64_t{3}, uint64_t{1} << 40}) {
    uint64_t length = before;
    EXPECT_EQ(xencoding_utf8_to_gbk(kChinese, nullptr, &length), 0);
    EXPECT_EQ(length, kNeeded);
  }
}

TEST(Encoding, AcceptsExactlyTheNeededCapacity) {
  char text[kNeeded + 1];
  std::memset(text, 0x55, sizeof text);
  uint64_t length = kNeeded;
  EXPECT_EQ(xencoding_utf8_to_gbk(kChinese, text, &length), 0);
  EXPECT_STREQ(text, kChineseInGbk);
  EXPECT_EQ(length, kNeeded - 1);
  EXPECT_EQ(text[kNeeded], 0x55);
}

TEST(Encoding, RefusesLessThanTheNeededCapacity) {
  for (uint64_t capacity : {kNeeded - 1, uint64_t{1}, uint64_t{0}}) {
    char text[kNeeded];
    std::memset(text, 0x55, sizeof text);
    uint64_t length = capacity;
    EXPECT_EQ(xencoding_utf8_to_gbk(kChinese, text, &length), -14);
    EXPECT_EQ(length, kNeeded);
    for (char byte : text) EXPECT_EQ(byte, 0x55);
  }
}

TEST(Encoding, RefusesNullArguments) {
  char text[8];
  uint64_t length = sizeof text;
  EXPECT_EQ(xencoding_utf8_to_gbk(nullptr, text, &length), -6);
  EXPECT_EQ(length, sizeof text);
  EXPECT_EQ(xencoding_utf8_to_gbk("a", text, nullptr), -6);
}

TEST(Encoding, UsesGb18030IfAvailable) {
  EXPECT_EQ(local_code_page(true), 54936u);
  EXPECT_EQ(local_code_page(false), 936u);
}

TEST(Encoding, ConvertsToTheChosenCodePage) {
  char text[64];
  uint64_t length = sizeof text;
  const int32_t result = utf8_to_code_page(local_code_page(true), kChinese, text, &length);
  if (IsValidCodePage(54936)) {
    EXPECT_EQ(result, 0);
    EXPECT_STREQ(text, kChineseInGbk);
  } else {
    EXPECT_EQ(result, -1);
    EXPECT_EQ(length, sizeof text);
  }
}

TEST(Encoding, UnusableCodePageFailsAndKeepsTheLength) {
  constexpr UINT kNoCodePage = 60001;
  char text[64];
  uint64_t length = sizeof text;
  EXPECT_EQ(utf8_to_code_page(kNoCodePage, kChinese, text, &length), -1);
  EXPECT_EQ(length, sizeof text);
  EXPECT_EQ(utf8_to_code_page(kNoCodePage, kChinese, nullptr, &length), -1);
  EXPECT_EQ(length, sizeof text);
}

TEST(Encoding, ReturnsAString) {
  EXPECT_EQ(xencoding_utf8_to_gbk_string(kChinese), kChineseInGbk);
  EXPECT_EQ(xencoding_utf8_to_gbk_string(""), "");
  EXPECT_EQ(xencoding_utf8_to_gbk_string(nullptr), "");
  const std::string long_text(100'000, 'x');
  EXPECT_EQ(xencoding_utf8_to_gbk_string(long_text.c_str()), long_text);
}

int conversions = 0;
int failing_conversion = 0;
decltype(&WideCharToMultiByte) convert_text = nullptr;

int WINAPI fail_one_conversion(UINT page, DWORD flags, LPCWCH text, int length, LPSTR result, int capacity,
                               LPCCH substitute, LPBOOL substituted) {
  if (++conversions == failing_conversion) return 0;
  return convert_text(page, flags, text, length, result, capacity, substitute, substituted);
}

TEST(Encoding, ReturnsNoStringWhenAConversionFails) {
  const auto convert = [](int failing) {
    conversions = 0;
    failing_conversion = failing;
    const test::ImportPatch guard(GetModuleHandleW(nullptr), "KERNEL32.dll", "WideCharToMultiByte",
                                  fail_one_conversion);
    convert_text = guard.original<decltype(&WideCharToMultiByte)>();
    return xencoding_utf8_to_gbk_string(kChinese);
  };
  EXPECT_EQ(convert(0), kChineseInGbk);
  const int all = conversions;
  ASSERT_GE(all, 2);
  for (int failing = 1; failing <= all; ++failing) {
    EXPECT_EQ(convert(failing), "") << failing;
    EXPECT_EQ(conversions, failing);
  }
}

}  // namespace

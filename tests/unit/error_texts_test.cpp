// Compiled with GBK as the execution character set, like the table itself.
#include "velm_sof_client/error_texts.h"

#include <gtest/gtest.h>

#include <cstring>

using velm::error_text;
using velm::kErrorTexts;

namespace {

TEST(ErrorTexts, AreGbkBytes) {
  EXPECT_STREQ(error_text(0), "\xB3\xC9\xB9\xA6");
  EXPECT_STREQ(error_text(0x0B000403), "某一个参数为空指针");
  EXPECT_EQ(std::strlen(error_text(0x0B000403)), 18u);
  EXPECT_STREQ(error_text(0x0B010003), "时间戳响应不存在");
}

TEST(ErrorTexts, KeepIrregularTexts) {
  EXPECT_STREQ(error_text(0x0B000301), "HASH对象错");
  EXPECT_STREQ(error_text(0x0B000303), "产生RSA密钥错");
  EXPECT_STREQ(error_text(0x0B000312), "未能完全按照策略验证成功宏描述预定义值说明");
}

TEST(ErrorTexts, UnassignedCodesHaveNone) {
  for (uint32_t code :
       {0x0B000000u, 0x0B00000Au, 0x0B000013u, 0x0B0000FFu, 0x0B000313u, 0x0B000449u, 0x0B0004FFu,
        0x0B000505u, 0x0B010000u, 0x0B010013u, 0x12345678u, 0xFFFFFFFBu, 0xFFFFFFFFu}) {
    EXPECT_EQ(error_text(code), nullptr) << std::hex << code;
  }
}

TEST(ErrorTexts, TheLongestIs42Bytes) {
  size_t longest = 0;
  for (const auto& row : kErrorTexts) longest = std::max(longest, std::strlen(row.text));
  EXPECT_EQ(longest, 42u);
  EXPECT_EQ(kErrorTexts.size(), 102u);
}

}  // namespace

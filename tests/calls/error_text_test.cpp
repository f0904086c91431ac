// The texts of result codes as an application receives them.
#include <gmock/gmock.h>

#include <cstring>
#include <vector>

#include "support/client_library.h"
#include "support/guarded_buffer.h"
#include "support/log_reader.h"
#include "support/standins.h"

using namespace velm::test;
using testing::IsEmpty;

namespace {

constexpr size_t kEnough = 43;

class ErrorText : public testing::Test {
 protected:
  Standins standins;
  ClientLibrary library;
};

TEST_F(ErrorText, IsGbkWithItsTerminatorAndNothingElse) {
  GuardedBuffer buffer(kEnough);
  library.SOF_Ext_GetErrInfo(0, reinterpret_cast<char*>(buffer.data()));
  EXPECT_EQ(std::memcmp(buffer.data(), "\xB3\xC9\xB9\xA6", 5), 0);
  for (size_t i = 5; i < kEnough; ++i) EXPECT_EQ(buffer.data()[i], 0xAA) << i;
}

TEST_F(ErrorText, OfANullPointerIs18Bytes) {
  char text[kEnough];
  library.SOF_Ext_GetErrInfo(0x0B000403, text);
  EXPECT_EQ(std::strlen(text), 18u);
  EXPECT_STREQ(text, "\xC4\xB3\xD2\xBB\xB8\xF6\xB2\xCE\xCA\xFD\xCE\xAA\xBF\xD5\xD6\xB8\xD5\xEB");
}

TEST_F(ErrorText, EveryTextFits43Bytes) {
  int found = 0;
  for (uint32_t family : {0x0B000000u, 0x0B010000u}) {
    for (uint32_t code = family; code < family + 0x600; ++code) {
      GuardedBuffer buffer(kEnough);
      library.SOF_Ext_GetErrInfo(code, reinterpret_cast<char*>(buffer.data()));
      if (!buffer.untouched()) ++found;
    }
  }
  EXPECT_EQ(found, 101);
}

TEST_F(ErrorText, UnknownCodeLeavesTheBuffer) {
  for (uint32_t code : {0x0B000449u, 0x12345678u, 0xFFFFFFFFu, 0xFFFFFFFBu, 0x0B000505u, 0x0B010013u}) {
    GuardedBuffer buffer(kEnough);
    library.SOF_Ext_GetErrInfo(code, reinterpret_cast<char*>(buffer.data()));
    EXPECT_TRUE(buffer.untouched()) << std::hex << code;
  }
}

TEST_F(ErrorText, NullBufferIsAccepted) {
  library.SOF_Ext_GetErrInfo(0, nullptr);
  library.SOF_Ext_GetErrInfo(0x12345678, nullptr);
  EXPECT_THAT(LogReader::lines(), IsEmpty());
}

TEST(ErrorTextLog, IsNotLogged) {
  Standins standins;
  ClientLibrary library{Marker::kPresent};
  char text[kEnough];
  library.SOF_Ext_GetErrInfo(0x0B000001, text);
  EXPECT_EQ(LogReader::messages().size(), 1u);  // written by the load
}

}  // namespace

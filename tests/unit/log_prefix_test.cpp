#include "basekit/basic/log_prefix.h"

#include <gtest/gtest.h>

#include <string>

using namespace velm::log;

namespace {

PrefixValues sample() {
  PrefixValues values;
  values.local_time.tm_year = 124;
  values.local_time.tm_mon = 4;
  values.local_time.tm_mday = 6;
  values.local_time.tm_hour = 10;
  values.local_time.tm_min = 11;
  values.local_time.tm_sec = 12;
  values.milliseconds = 45;
  values.process_name = "app";
  values.process_id = 4321;
  values.thread_id = 1234;
  values.source_file = R"(..\..\src\velm_sof_client)";
  values.source_line = 100;
  return values;
}

std::string prefix(uint32_t level, uint32_t mask, const PrefixValues& values = sample()) {
  char area[512];
  format_prefix(area, sizeof area, level, mask, values);
  return area;
}

TEST(LogPrefix, FieldsOfTheMaskSetAtLoad) {
  EXPECT_EQ(prefix(kInformation, kMaskFromLoad),
            "[IFO|2024-05-06 10:11:12.045|app|64|4321|1234|velm_sof_client|100] ");
}

TEST(LogPrefix, FieldsOfTheMaskBeforeLoad) {
  EXPECT_EQ(prefix(kError, kMaskBeforeLoad), "[ERR|2024-05-06 10:11:12|velm_sof_client|100] ");
}

TEST(LogPrefix, TagsEachLevel) {
  EXPECT_EQ(prefix(kVerbose, kLevelTag), "[VER] ");
  EXPECT_EQ(prefix(kInformation, kLevelTag), "[IFO] ");
  EXPECT_EQ(prefix(kWarning, kLevelTag), "[WAR] ");
  EXPECT_EQ(prefix(kError, kLevelTag), "[ERR] ");
}

TEST(LogPrefix, EachFieldHasItsPlace) {
  EXPECT_EQ(prefix(kError, kTimeMilliseconds), "|10:11:12.045] ");
  EXPECT_EQ(prefix(kError, kDateTime), "|2024-05-06 10:11:12] ");
  EXPECT_EQ(prefix(kError, kDateTimeMilliseconds), "|2024-05-06 10:11:12.045] ");
  EXPECT_EQ(prefix(kError, kProcessName), "|app|64] ");
  EXPECT_EQ(prefix(kError, kProcessId), "|4321] ");
  EXPECT_EQ(prefix(kError, kThreadId), "|1234] ");
  EXPECT_EQ(prefix(kError, kSourceFile), "|velm_sof_client] ");
  EXPECT_EQ(prefix(kError, kSourceLine), "|100] ");
  EXPECT_EQ(
      prefix(kError, 0x7FF),
      "[ERR|10:11:12.045|2024-05-06 10:11:12|2024-05-06 10:11:12.045|app|64|4321|1234|velm_sof_client|100] ");
}

TEST(LogPrefix, EndIsTheSameWithoutTag) {
  EXPECT_EQ(prefix(kError, kProcessId | kSourceLine), "|4321|100] ");
}

TEST(LogPrefix, UnassignedMaskBitsAreIgnored) { EXPECT_EQ(prefix(kError, (1u << 3) | (1u << 9)), "] "); }

TEST(LogPrefix, UnknownProcessNameIsOmitted) {
  PrefixValues values = sample();
  values.process_name = nullptr;
  EXPECT_EQ(prefix(kError, kProcessName | kProcessId, values), "|4321] ");
}

TEST(LogPrefix, Wow64ProcessHas32Bits) {
  PrefixValues values = sample();
  values.bitness = 32;
  EXPECT_EQ(prefix(kError, kProcessName, values), "|app|32] ");
}

TEST(LogPrefix, SourceWithoutDirectoryIsUnchanged) {
  PrefixValues values = sample();
  values.source_file = "http.h";
  EXPECT_EQ(prefix(kError, kSourceFile, values), "|http.h] ");
}

TEST(LogPrefix, DoesNotOverflow) {
  PrefixValues values = sample();
  const std::string long_name(2000, 'x');
  values.process_name = long_name.c_str();
  char area[64];
  format_prefix(area, sizeof area, kError, kMaskFromLoad, values);
  EXPECT_EQ(std::strlen(area), sizeof area - 1);
}

TEST(LogCode, OwnMaskAppliesIfBit20IsSetOrTheSwitchIsOff) {
  const uint32_t with_mask = kError | 1u << 20 | kSourceLine << 21;
  EXPECT_EQ(mask_for(with_mask, 1, kMaskFromLoad), kSourceLine);
  EXPECT_EQ(mask_for(kError, 1, kMaskFromLoad), kMaskFromLoad);
  EXPECT_EQ(mask_for(kError | kSourceLine << 21, 0, kMaskFromLoad), kSourceLine);
}

TEST(LogCode, TheThresholdIsTwoUnlessTheSwitchIsOn) {
  EXPECT_EQ(threshold_for(1, 0), 0);
  EXPECT_EQ(threshold_for(0, 0), 2);
  EXPECT_EQ(threshold_for(2, 3), 2);
}

}  // namespace

// The log facility by itself: its hooks, its file, its cuts.
#include "basekit/basic/log.h"

#include <gmock/gmock.h>

#include <fstream>
#include <sstream>
#include <thread>

using namespace velm;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

constinit log::Unit unit{R"(..\..\src\some_unit)"};

class Log : public testing::Test {
 protected:
  void SetUp() override {
    char temporary[MAX_PATH];
    GetTempPathA(sizeof temporary, temporary);
    folder_ = std::string(temporary) + "velm_log_test";
    CreateDirectoryA(folder_.c_str(), nullptr);
    path_ = folder_ + "\\a.log";
    std::remove(path_.c_str());
    std::remove(history().c_str());
    log::configuration = {};
    use_path(path_);
  }
  void TearDown() override { log::configuration = {}; }

  static void use_path(const std::string& path) {
    log::configuration.file_path[path.copy(log::configuration.file_path, log::kPathCharacters - 1)] = '\0';
  }
  std::string history() const { return folder_ + "\\a_his.log"; }

  static std::string content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }
  std::string content() const { return content(path_); }

  std::string folder_, path_;
};

TEST_F(Log, ALineHasPrefixMessageAndWindowsLineEnd) {
  log::configuration.field_mask = log::kSourceFile | log::kSourceLine | log::kLevelTag;
  log::write(unit, log::kError, 77, "call %s = %d\n", "x", 5);
  EXPECT_EQ(content(), "[ERR|some_unit|77] call x = 5\r\n");
}

TEST_F(Log, LinesAreAppended) {
  log::configuration.field_mask = 0;
  log::write(unit, log::kError, 1, "one\n");
  log::write(unit, log::kError, 1, "two\n");
  EXPECT_EQ(content(), "] one\r\n] two\r\n");
}

TEST_F(Log, ALineBelowTheThresholdIsNotWritten) {
  log::write(unit, log::kInformation, 1, "no\n");
  EXPECT_THAT(content(), IsEmpty());
  log::write(unit, log::kWarning, 1, "yes\n");
  EXPECT_THAT(content(), HasSubstr("yes"));
}

TEST_F(Log, TheThresholdOfTheConfigurationHolds) {
  log::configuration.threshold = 0;
  log::write(unit, log::kVerbose, 1, "verbose\n");
  EXPECT_THAT(content(), AllOf(StartsWith("[VER|"), EndsWith("verbose\r\n")));
}

TEST_F(Log, WithTheSwitchOffThresholdIsTwoAndTheMaskComesFromTheCode) {
  log::configuration.enabled = 0;
  log::configuration.threshold = 0;
  log::write(unit, log::kInformation, 1, "no\n");
  EXPECT_THAT(content(), IsEmpty());
  log::write(unit, log::kError | log::kSourceLine << 21, 9, "yes\n");
  EXPECT_EQ(content(), "|9] yes\r\n");
}

TEST_F(Log, ACodeMayCarryItsOwnMask) {
  log::write(unit, log::kError | 1u << 20 | log::kLevelTag << 21, 9, "own\n");
  EXPECT_EQ(content(), "[ERR] own\r\n");
}

TEST_F(Log, TheFieldsAreThoseOfThisProcess) {
  log::configuration.field_mask = log::kProcessName | log::kProcessId | log::kThreadId;
  log::write(unit, log::kError, 1, "x\n");
  EXPECT_EQ(content(), "|log_test|64|" + std::to_string(GetCurrentProcessId()) + "|" +
                           std::to_string(GetCurrentThreadId()) + "] x\r\n");
  EXPECT_EQ(wow64_state, kNative);
}

TEST_F(Log, AMessageIsCutAt4095Characters) {
  log::configuration.field_mask = 0;
  log::write(unit, log::kError, 1, "%s\n", std::string(5000, 'x').c_str());
  EXPECT_EQ(content(), "] " + std::string(4095, 'x'));
  std::remove(path_.c_str());
  log::write(unit, log::kError, 1, "%s", std::string(4095, 'y').c_str());
  EXPECT_EQ(content(), "] " + std::string(4095, 'y'));
}

TEST_F(Log, AWideMessageIsWrittenNarrowAndCutLikewise) {
  log::configuration.field_mask = log::kLevelTag;
  log::write_wide(unit, log::kError, 1, L"wide [%s] %u\n", L"text", 7u);
  EXPECT_EQ(content(), "[ERR] wide [text] 7\r\n");
  std::remove(path_.c_str());
  log::write_wide(unit, log::kError, 1, L"%s", std::wstring(5000, L'x').c_str());
  EXPECT_EQ(content(), "[ERR] " + std::string(4095, 'x'));
  std::remove(path_.c_str());
  log::write_wide(unit, log::kInformation, 1, L"no\n");
  EXPECT_THAT(content(), IsEmpty());
}

TEST_F(Log, APointerIsSixteenUpperCaseDigits) {
  log::configuration.field_mask = 0;
  log::write(unit, log::kError, 1, "0x%p\n", reinterpret_cast<void*>(0x12FE40));
  EXPECT_EQ(content(), "] 0x000000000012FE40\r\n");
}

TEST_F(Log, AMissingLastDirectoryIsCreated) {
  const std::string directory = folder_ + "\\day";
  const std::string path = directory + "\\b.log";
  std::remove(path.c_str());
  RemoveDirectoryA(directory.c_str());
  use_path(path);
  log::write(unit, log::kError, 1, "x\n");
  EXPECT_THAT(content(path), EndsWith("x\r\n"));
}

TEST_F(Log, TwoMissingDirectoriesLoseTheLineSilently) {
  const std::string path = folder_ + "\\none\\deeper\\b.log";
  use_path(path);
  log::write(unit, log::kError, 1, "x\n");
  EXPECT_FALSE(log::exists(path.c_str()));
  EXPECT_FALSE(log::exists((folder_ + "\\none").c_str()));
}

TEST_F(Log, AFileThatCannotBeWrittenLosesTheLine) {
  use_path(folder_);
  log::write(unit, log::kError, 1, "x\n");
  SUCCEED();
}

TEST_F(Log, ALogAboveItsSizeLimitBecomesTheHistory) {
  log::configuration.field_mask = 0;
  log::configuration.size_limit = 10;
  log::write(unit, log::kError, 1, "12345\n");
  EXPECT_EQ(content(), "] 12345\r\n");
  log::write(unit, log::kError, 1, "2\n");
  EXPECT_FALSE(log::exists(path_.c_str()));
  EXPECT_EQ(content(history()), "] 12345\r\n] 2\r\n");
}

TEST_F(Log, AnEarlierHistoryIsReplaced) {
  log::configuration.field_mask = 0;
  log::configuration.size_limit = 1;
  log::write(unit, log::kError, 1, "one\n");
  log::write(unit, log::kError, 1, "two\n");
  EXPECT_EQ(content(history()), "] two\r\n");
}

TEST_F(Log, AFileOfExactlyTheLimitStays) {
  log::configuration.field_mask = 0;
  log::configuration.size_limit = 9;
  log::write(unit, log::kError, 1, "12345\n");
  EXPECT_EQ(content(), "] 12345\r\n");
}

TEST_F(Log, TheDumpIsOneLineOfBytes) {
  log::configuration.threshold = 0;
  const unsigned char block[] = {0x0A, 0xFF};
  log::dump(block, sizeof block);
  EXPECT_EQ(content(), "pSetVal = 0A FF [2]\r\n");
}

TEST_F(Log, TheDumpIsWrittenAtTheMostVerboseThresholdOnly) {
  const unsigned char block[] = {1};
  log::configuration.threshold = 1;
  log::dump(block, 1);
  log::configuration.threshold = 0;
  log::configuration.enabled = 0;
  log::dump(block, 1);
  log::configuration.enabled = 1;
  log::dump(block, 0);
  log::dump(nullptr, 5);
  EXPECT_THAT(content(), IsEmpty());
}

TEST_F(Log, TheDumpFollowsTheSizeRule) {
  log::configuration.threshold = 0;
  log::configuration.size_limit = 5;
  const unsigned char block[] = {1};
  log::dump(block, 1);
  EXPECT_FALSE(log::exists(path_.c_str()));
  EXPECT_EQ(content(history()), "pSetVal = 01 [1]\r\n");
}

TEST_F(Log, WithTheLockSwitchEveryLineOfManyThreadsIsWhole) {
  log::configuration.lock = 1;
  log::configuration.field_mask = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int n = 0; n < 25; ++n) log::write(unit, log::kError, 1, "line\n");
    });
  }
  for (auto& thread : threads) thread.join();
  std::string text = content();
  for (size_t at = 0; (at = text.find("] line\r\n", at)) != std::string::npos;) text.erase(at, 8);
  EXPECT_THAT(text, IsEmpty());
}

TEST_F(Log, WithoutTheLockManyThreadsNeitherFailNorBlock) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int n = 0; n < 25; ++n) log::write(unit, log::kError, 1, "line\n");
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_THAT(content(), HasSubstr("line"));
}

TEST_F(Log, TheExpandedPathIsKeptByEachUnit) {
  log::configuration.file_path[0] = '\0';
  static constinit log::Unit kept{"kept"};
  const std::string first = kept.file_path().data();
  EXPECT_THAT(first, MatchesRegex(".:.ProgramData.VELM.log.\\d+.velm_client_sof.log"));
  EXPECT_EQ(kept.file_path().data(), first);
}

}  // namespace

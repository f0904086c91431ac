// The log facility alone: its hooks, its file and its truncation of lines.
#include "basekit/basic/log.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <numeric>
#include <set>
#include <sstream>
#include <thread>

#include "support/fresh_process.h"
#include "support/import_patch.h"
#include "unit/windows/eight_hours_east.h"

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

// log_linked_test shows the same with links, which only the system can create.
TEST_F(Log, AFolderThatCannotBeCheckedCountsAsALink) {
  EXPECT_FALSE(log::is_link(folder_.c_str()));
  EXPECT_FALSE(log::is_link((folder_ + "\\missing").c_str()));
  EXPECT_FALSE(log::is_link((folder_ + "\\missing\\folder").c_str()));
  EXPECT_TRUE(log::is_link((folder_ + "\\a*b").c_str()));
}

TEST_F(Log, ALineBelowTheThresholdIsNotWritten) {
  log::write(unit, log::kInformation, 1, "no\n");
  EXPECT_THAT(content(), IsEmpty());
  log::write(unit, log::kWarning, 1, "yes\n");
  EXPECT_THAT(content(), HasSubstr("yes"));
}

TEST_F(Log, ConfiguredThresholdApplies) {
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

DWORD WINAPI no_base_name(HANDLE, HMODULE, LPSTR, DWORD) { return 0; }
HANDLE WINAPI no_process(DWORD, BOOL, DWORD) { return nullptr; }

template <class Function>
test::ImportPatch patch(const char* dll, const char* name, Function* replacement) {
  return test::ImportPatch(GetModuleHandleW(nullptr), dll, name, replacement);
}

void log_name_only(const char* message) {
  log::write(unit, log::kError | 1u << 20 | (log::kLevelTag | log::kProcessName) << 21, 1, "%s\n", message);
}

// Writes one line while the given system call fails and one afterwards, to the given file.
CHILD_PROCESS(logs_without_its_name) {
  arguments[1].copy(log::configuration.file_path, log::kPathCharacters - 1);
  {
    const auto guard = arguments[0] == "OpenProcess"
                           ? patch("KERNEL32.dll", "OpenProcess", no_process)
                           : patch("KERNEL32.dll", "K32GetModuleBaseNameA", no_base_name);
    log_name_only("first");
  }
  log_name_only("second");
  return 0;
}

TEST_F(Log, UnknownProcessNameIsOmittedAndRetried) {
  for (const char* failing : {"OpenProcess", "K32GetModuleBaseNameA"}) {
    SCOPED_TRACE(failing);
    std::remove(path_.c_str());
    EXPECT_EQ(test::run_child("logs_without_its_name", {failing, path_}).exit_code, 0u);
    EXPECT_EQ(content(), "[ERR] first\r\n[ERR|log_test|64] second\r\n");
  }
}

// The current local time, as a log line shows it.
std::string clock_text() {
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  ULARGE_INTEGER ticks{{now.dwLowDateTime, now.dwHighDateTime}};
  ticks.QuadPart += uint64_t{test::EightHoursEast::kSeconds} * 10'000'000;
  now = {ticks.LowPart, ticks.HighPart};
  SYSTEMTIME time;
  FileTimeToSystemTime(&now, &time);
  char text[64];
  std::snprintf(text, sizeof text, "|%04u-%02u-%02u %02u:%02u:%02u.%03u] x\r\n", time.wYear, time.wMonth,
                time.wDay, time.wHour, time.wMinute, time.wSecond, time.wMilliseconds);
  return text;
}

TEST_F(Log, TimeIsLocal) {
  const test::EightHoursEast zone;
  log::configuration.field_mask = log::kDateTimeMilliseconds;
  const std::string before = clock_text();
  log::write(unit, log::kError, 1, "x\n");
  const std::string after = clock_text();
  EXPECT_GE(content(), before);
  EXPECT_LE(content(), after);
}

TEST_F(Log, MessageIsTruncatedAt4095Characters) {
  log::configuration.field_mask = 0;
  log::write(unit, log::kError, 1, "%s\n", std::string(5000, 'x').c_str());
  EXPECT_EQ(content(), "] " + std::string(4095, 'x'));
  std::remove(path_.c_str());
  log::write(unit, log::kError, 1, "%s", std::string(4095, 'y').c_str());
  EXPECT_EQ(content(), "] " + std::string(4095, 'y'));
}

TEST_F(Log, WideMessageIsConvertedAndTruncated) {
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
  log::configuration.field_mask = 0;
  use_path(folder_);
  log::write(unit, log::kError, 1, "lost\n");
  EXPECT_EQ(GetFileAttributesA(folder_.c_str()), DWORD{FILE_ATTRIBUTE_DIRECTORY});
  use_path(path_);
  log::write(unit, log::kError, 1, "kept\n");
  EXPECT_EQ(content(), "] kept\r\n");
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

TEST_F(Log, FileOfExactlyTheLimitIsKept) {
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

constexpr int kThreads = 4;
constexpr int kLinesOfAThread = 25;

// Lines that differ in content and length.
std::string message_of(int thread, int n) {
  return std::to_string(thread) + "." + std::to_string(n) + std::string(size_t(n % 5) * 1000, 'x');
}

void write_from_many_threads() {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([thread] {
      for (int n = 0; n < kLinesOfAThread; ++n) {
        log::write(unit, log::kError, 1, "%s\n", message_of(thread, n).c_str());
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

TEST_F(Log, WithLockThreadsWriteCompleteLines) {
  log::configuration.lock = 1;
  log::configuration.field_mask = 0;
  static void(WINAPI * release)(PSRWLOCK);
  static std::vector<ptrdiff_t> lines_at_release;
  lines_at_release.clear();
  {
    const auto guard = patch(
        "KERNEL32.dll", "ReleaseSRWLockExclusive", +[](PSRWLOCK lock) {
          if (lock == &log::write_lock) {
            const std::string text = content(log::configuration.file_path);
            lines_at_release.push_back(std::count(text.begin(), text.end(), '\n'));
          }
          release(lock);
        });
    release = guard.original<void(WINAPI*)(PSRWLOCK)>();
    write_from_many_threads();
  }
  std::vector<ptrdiff_t> one_more_each_time(kThreads * kLinesOfAThread);
  std::iota(one_more_each_time.begin(), one_more_each_time.end(), 1);
  EXPECT_EQ(lines_at_release, one_more_each_time);

  std::multiset<std::string> written, expected;
  std::istringstream text(content());
  for (std::string line; std::getline(text, line);) written.insert(line);
  for (int thread = 0; thread < kThreads; ++thread) {
    for (int n = 0; n < kLinesOfAThread; ++n) expected.insert("] " + message_of(thread, n) + '\r');
  }
  EXPECT_TRUE(written == expected) << written.size() << " lines of " << expected.size();
}

TEST_F(Log, WithoutLockThreadsNeitherFailNorBlock) {
  write_from_many_threads();
  EXPECT_THAT(content(), HasSubstr("] 0.0"));
}

TEST_F(Log, ExpandedPathIsCachedPerTranslationUnit) {
  log::configuration.file_path[0] = '\0';
  static constinit log::Unit kept{"kept"};
  const std::string first = kept.file_path().data();
  EXPECT_THAT(first, MatchesRegex(".:.ProgramData.VELM.log.\\d+.velm_client_sof.log"));
  EXPECT_EQ(kept.file_path().data(), first);
}

std::string special_folder;  // empty: no such folder

BOOL WINAPI give_special_folder(HWND, LPSTR folder, int, BOOL) {
  folder[special_folder.copy(folder, MAX_PATH - 1)] = '\0';
  return !special_folder.empty();
}

TEST_F(Log, FailedPathExpansionIsRetried) {
  log::Unit homeless{"homeless"};
  const auto guard = patch("SHELL32.dll", "SHGetSpecialFolderPathA", give_special_folder);
  log::configuration.field_mask = 0;
  log::configuration.file_path[0] = '\0';

  special_folder.clear();
  log::write(homeless, log::kError, 1, "lost\n");
  EXPECT_STREQ(homeless.file_path().data(), "");

  special_folder = folder_;
  log::create_directories();
  const std::string path = homeless.file_path().data();
  EXPECT_THAT(path, StartsWith(folder_ + "\\VELM\\log\\"));
  std::remove(path.c_str());
  log::write(homeless, log::kError, 1, "kept\n");
  EXPECT_EQ(content(path), "] kept\r\n");
}

}  // namespace

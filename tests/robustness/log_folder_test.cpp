// A log that cannot be written: calls return their usual results, and the log line is dropped.
#include <windows.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "inc/velm_sof_client.h"
#include "robustness/loaded_library.h"
#include "support/log_reader.h"
#include "support/process_usage.h"
#include "support/service_double.h"
#include "support/standins.h"

using namespace velm::test;

namespace {

class LogFolder : public testing::Test {
 protected:
  // Makes calls that succeed and calls that would log a line.
  void expect_calls_to_go_on() {
    const LoadedLibrary library;
    const auto initialize = library.function<decltype(SOF_Initialize)>("SOF_Initialize");
    const auto random = library.function<decltype(SOF_GenRandom)>("SOF_GenRandom");
    service.responds([](const Request&) { return json(R"({"ErrorCode":"0"})"); });
    const auto calls = [&] {
      for (int i = 0; i < 20; ++i) EXPECT_EQ(initialize(), SOR_OK);
      for (int i = 0; i < 200; ++i) EXPECT_EQ(random(1, nullptr), SOR_NULLPOINTERERR);
    };
    calls();
    const ProcessUsage before = ProcessUsage::now();
    calls();
    // The service double keeps its requests, hence the allowance.
    constexpr ProcessUsage::Allowance kAllowance{.handles = 8, .blocks = 300, .private_bytes = 1 << 20};
    EXPECT_EQ(ProcessUsage::now().growth_since(before, kAllowance), "");
  }

  // Returns true if this test can append to the file; then the library could, too.
  static bool can_be_written(const std::filesystem::path& file) {
    const HANDLE handle = CreateFileW(file.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      nullptr, OPEN_ALWAYS, 0, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return false;
    DWORD written = 0;
    const bool taken = WriteFile(handle, "line\r\n", 6, &written, nullptr) && written == 6;
    CloseHandle(handle);
    return taken;
  }

  // Creates a log file with one line.
  static std::wstring a_log_file() {
    LogReader::clear();
    const LoadedLibrary library;
    library.function<decltype(SOF_GenRandom)>("SOF_GenRandom")(1, nullptr);
    return LogReader::files().at(0);
  }

  const std::filesystem::path folder = LogReader::folder();
  Standins standins;
  ServiceDouble service;
};

// The library creates two folder levels when it is loaded and a third when it logs. A file in place of the
// folder prevents that.
TEST_F(LogFolder, IsAFile) {
  LogReader::clear();
  std::filesystem::remove(folder);
  std::ofstream(folder) << "a file";
  expect_calls_to_go_on();
  EXPECT_EQ(std::filesystem::file_size(folder), 6u);
  std::filesystem::remove(folder);
}

TEST_F(LogFolder, IsRemovedAfterLoad) {
  const LoadedLibrary library;
  const auto random = library.function<decltype(SOF_GenRandom)>("SOF_GenRandom");
  LogReader::clear();
  std::filesystem::remove(folder);
  EXPECT_EQ(random(1, nullptr), SOR_NULLPOINTERERR);
  EXPECT_FALSE(std::filesystem::exists(folder));
  std::filesystem::create_directory(folder);
  EXPECT_EQ(random(1, nullptr), SOR_NULLPOINTERERR);
  EXPECT_THAT(LogReader::errors(), testing::ElementsAre("pRandomData is null!"));
}

TEST_F(LogFolder, ContainsALockedFile) {
  const std::wstring file = a_log_file();
  const HANDLE held = CreateFileW(file.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(held, INVALID_HANDLE_VALUE);
  expect_calls_to_go_on();
  CloseHandle(held);
  EXPECT_EQ(LogReader::lines().size(), 1u);
}

TEST_F(LogFolder, ContainsAReadOnlyFile) {
  const std::wstring file = a_log_file();
  ASSERT_TRUE(SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY));
  const bool is_protected = !can_be_written(file);
  if (is_protected) {
    expect_calls_to_go_on();
    EXPECT_EQ(LogReader::lines().size(), 1u);
  }
  SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL);
  if (!is_protected) GTEST_SKIP() << "this user may write read-only files";
}

// Run by staged_log.sh, which replaces the folder of the day or the file to simulate a fault of the system.
TEST_F(LogFolder, IsStaged) {
  const char* file = std::getenv("VELM_STAGED_LOG");
  if (!file) GTEST_SKIP() << "no fault is simulated";
  ASSERT_FALSE(can_be_written(file)) << "the simulated fault has no effect";
  expect_calls_to_go_on();
}

// Run by staged_log.sh, which replaces a folder by a link. The library could write to its target.
TEST_F(LogFolder, IsALink) {
  if (!std::getenv("VELM_STAGED_LOG")) GTEST_SKIP() << "no fault is simulated";
  expect_calls_to_go_on();
  EXPECT_THAT(LogReader::files(), testing::IsEmpty());
}

}  // namespace

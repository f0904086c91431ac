// Where the signature provider looks for its configuration, and which addresses it accepts.
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "provider_abi/velm_client_saf.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/module_path.h"

namespace velm::token {
namespace {

namespace fs = std::filesystem;

constexpr char kName[] = "configuration_test.dat";
constexpr char kValid[] = "connect_timeout_ms = 1000\n";
constexpr char kInvalid[] = "no such key = 1\n";

void write(const fs::path& file, const std::string& text) { std::ofstream(file, std::ios::binary) << text; }

uint32_t open_and_close(const std::string& path) {
  void* handle = nullptr;
  const uint32_t code = SAF_Initialize(&handle, path.c_str());
  if (code == kSafSuccess) {
    EXPECT_EQ(SAF_Finalize(handle), kSafSuccess);
  }
  return code;
}

/** Runs each test in an empty current folder. */
class ConfigurationFile : public testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(current_);
    fs::create_directory(current_);
    fs::current_path(current_);
  }
  void TearDown() override {
    fs::current_path(before_);
    fs::remove_all(current_);
    fs::remove(in_module_folder_);
  }

  const fs::path before_ = fs::current_path();
  const fs::path current_ = before_ / "configuration_test_folder";
  const fs::path in_module_folder_ = module_path().parent_path() / kName;
};

TEST_F(ConfigurationFile, OfTheModulesFolderComesFirst) {
  EXPECT_EQ(open_and_close(kName), kSafFileOpen);
  write(kName, kValid);
  EXPECT_EQ(open_and_close(kName), kSafSuccess);
  write(in_module_folder_, kInvalid);
  EXPECT_EQ(open_and_close(kName), kSafBadInput);
  write(kName, kInvalid);
  write(in_module_folder_, kValid);
  EXPECT_EQ(open_and_close(kName), kSafSuccess);
}

// Another user may be able to keep a file from being opened.
TEST_F(ConfigurationFile, ThatCannotBeOpenedIsNotPassedOver) {
  write(kName, kValid);
#ifdef _WIN32
  const HANDLE locked = CreateFileW(in_module_folder_.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(locked, INVALID_HANDLE_VALUE);
  EXPECT_EQ(open_and_close(kName), kSafFileOpen);
  CloseHandle(locked);
#else
  // Opening a link to itself fails for every user.
  fs::create_symlink(in_module_folder_, in_module_folder_);
  EXPECT_EQ(open_and_close(kName), kSafFileOpen);
#endif
}

TEST_F(ConfigurationFile, WithAnAbsolutePathIsTheOnlyOne) {
  write(in_module_folder_, kValid);
  const std::string path = (current_ / kName).string();
  EXPECT_EQ(open_and_close(path), kSafFileOpen);
  write(path, kInvalid);
  EXPECT_EQ(open_and_close(path), kSafBadInput);
}

TEST_F(ConfigurationFile, NamesAnotherMachineOnlyWithItsConsent) {
  const auto open = [](const std::string& text) {
    write(kName, text);
    return open_and_close(kName);
  };
  for (const std::string key : {"service_address", "time_stamp_address"}) {
    for (const char* host : {"127.0.0.1", "localhost"}) {
      EXPECT_EQ(open(key + " = " + host + ":1\n"), kSafSuccess) << host;
    }
    for (const char* host : {"192.0.2.1", "127.0.0.1.example", "127.example", "localhost.example",
                             "x@127.0.0.1", "0.0.0.0", "127.0.0.1 ", "stamp.example"}) {
      const std::string address = key + " = " + host + ":1\n";
      EXPECT_EQ(open(address), kSafBadInput) << host;
      EXPECT_EQ(open(address + "allow_remote_addresses = false\n"), kSafBadInput) << host;
      EXPECT_EQ(open(address + "allow_remote_addresses = true\n"), kSafSuccess) << host;
      EXPECT_EQ(open("allow_remote_addresses = true\n" + address), kSafSuccess) << host;
    }
  }
}

#ifdef _WIN32
// A second copy of the module, in a folder whose name no code page but UTF-8 contains.
TEST_F(ConfigurationFile, OfAModuleFolderOutsideTheCodePageIsFound) {
  if (GetACP() == CP_UTF8) GTEST_SKIP() << "every name is in the code page";
  const fs::path folder = current_ / L"\u5bc6\u7801 \u0e01 \u05d0";
  BOOL replaced = FALSE;
  WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, folder.c_str(), -1, nullptr, 0, nullptr, &replaced);
  ASSERT_TRUE(replaced);
  fs::create_directory(folder);
  const fs::path copy = folder / L"copy_of_saf.dll";
  ASSERT_TRUE(CopyFileW(module_path().c_str(), copy.c_str(), FALSE));
  const HMODULE module = LoadLibraryW(copy.c_str());
  ASSERT_NE(module, nullptr);
  const auto function = [&](const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(module, name));
  };
  const auto open = reinterpret_cast<decltype(&SAF_Initialize)>(function("SAF_Initialize"));
  const auto close = reinterpret_cast<decltype(&SAF_Finalize)>(function("SAF_Finalize"));
  void* handle = nullptr;
  EXPECT_EQ(open(&handle, kName), kSafFileOpen);
  write(folder / kName, kValid);
  EXPECT_EQ(open(&handle, kName), kSafSuccess);
  EXPECT_EQ(close(handle), kSafSuccess);
  FreeLibrary(module);
}
#endif

#ifndef _WIN32
// Callers without an application use the standard file, whose faults must not select the default values.
// The Windows build has one in the folder of the module.
TEST_F(ConfigurationFile, OfTheStandardNameIsReadOrReported) {
  uint8_t time[32];
  uint32_t length = sizeof time;
  write("saf_config.dat", kInvalid);
  EXPECT_EQ(SAF_Ext_TspGetTime(time, &length), kSafBadInput);
}
#endif

}  // namespace
}  // namespace velm::token

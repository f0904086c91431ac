// The creation of files that other users may try to prepare.
#include "new_file.h"

#include <windows.h>

#include <gmock/gmock.h>

#include <fstream>
#include <set>
#include <sstream>

namespace {

namespace fs = std::filesystem;

int g_names;

// "taken" for the first two names, then another.
std::wstring taken_twice() { return ++g_names <= 2 ? L"taken" : L"free"; }
std::wstring always_taken() {
  ++g_names;
  return L"taken";
}

class NewFile : public testing::Test {
 protected:
  void SetUp() override {
    g_names = 0;
    fs::create_directory(folder_);
    std::ofstream(victim_) << "as it was";
  }
  void TearDown() override { fs::remove_all(folder_); }

  static std::string content(const fs::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
  }

  const fs::path folder_ = fs::temp_directory_path() / L"velm_new_file_test";
  const fs::path victim_ = folder_ / L"victim";
  const fs::path taken_ = folder_ / L"sof-taken.out";
};

TEST_F(NewFile, IsEmptyAndHasARandomName) {
  std::set<std::wstring> names;
  for (int i = 0; i < 100; ++i) {
    const fs::path path = create_new_file(folder_, L".out");
    EXPECT_EQ(path.parent_path(), folder_);
    EXPECT_EQ(fs::file_size(path), 0u);
    const std::wstring name = path.filename().wstring();
    EXPECT_EQ(name.size(), std::size(L"sof-") - 1 + 32 + std::size(L".out") - 1);
    names.insert(name);
  }
  EXPECT_EQ(names.size(), 100u);
}

TEST_F(NewFile, LeavesAFileWithItsNameAlone) {
  fs::copy_file(victim_, taken_);
  EXPECT_EQ(create_new_file(folder_, L".out", taken_twice), folder_ / L"sof-free.out");
  EXPECT_EQ(g_names, 3);
  EXPECT_EQ(content(taken_), "as it was");
}

TEST_F(NewFile, DoesNotFollowALinkWithItsName) {
  ASSERT_TRUE(CreateHardLinkW(taken_.c_str(), victim_.c_str(), nullptr));
  EXPECT_EQ(create_new_file(folder_, L".out", taken_twice), folder_ / L"sof-free.out");
  EXPECT_EQ(content(victim_), "as it was");
}

TEST_F(NewFile, EndsItsAttempts) {
  fs::copy_file(victim_, taken_);
  EXPECT_THROW(create_new_file(folder_, L".out", always_taken), fs::filesystem_error);
  EXPECT_EQ(g_names, 10);
}

TEST_F(NewFile, NeedsAFolder) {
  EXPECT_THROW(create_new_file(folder_ / L"absent", L".out", always_taken), fs::filesystem_error);
  EXPECT_EQ(g_names, 1);
}

}  // namespace

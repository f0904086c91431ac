// The permissions that the installer checks and sets. Wine keeps of them what a Unix file mode can express:
// the rights of the owner and those of everyone else.
#include <windows.h>

#include <gmock/gmock.h>

#include <fstream>

#include "packaging/folder_guard/protection.h"
#include "permissions/access.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

using namespace velm::permissions;

namespace {

namespace fs = std::filesystem;

const Sid kEveryone = sid_of_text(L"S-1-1-0");

class Folder : public testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(base_);
    fs::create_directory(base_);
  }
  void TearDown() override { fs::remove_all(base_); }

  // Creates a folder that everyone may change.
  static fs::path open_folder(const fs::path& path) {
    fs::create_directories(path);
    const LocalMemory everyone = descriptor_of_text(L"D:P(A;OICI;FA;;;WD)");
    EXPECT_TRUE(SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, everyone.get()));
    EXPECT_THAT(others_who_may(kChange, path, controls_the_machine), Optional(ElementsAre(kEveryone)));
    return path;
  }

  const fs::path base_ = L"C:\\velm_folder_guard_test";
};

TEST_F(Folder, IsProtectedUnlessOthersMayChangeIt) {
  fs::create_directory(base_ / L"a");
  EXPECT_TRUE(is_protected(base_ / L"a"));
  EXPECT_FALSE(is_protected(open_folder(base_ / L"a")));
}

TEST_F(Folder, IsNotProtectedInAFolderThatOthersMayChange) {
  fs::create_directories(base_ / L"open" / L"a" / L"b");
  EXPECT_TRUE(is_protected(base_ / L"open" / L"a" / L"b"));
  open_folder(base_ / L"open");
  EXPECT_FALSE(is_protected(base_ / L"open" / L"a" / L"b"));
  EXPECT_FALSE(is_protected(base_ / L"open" / L"a"));
}

TEST_F(Folder, IsNotProtectedIfItIsMissing) {
  EXPECT_FALSE(is_protected(base_ / L"missing"));
  EXPECT_FALSE(is_protected(L"relative"));
  EXPECT_FALSE(is_protected(L""));
}

TEST_F(Folder, ForProgramsIsCreatedAndClosed) {
  EXPECT_TRUE(protect_program_folder(base_ / L"new" / L"folder"));
  EXPECT_TRUE(is_protected(base_ / L"new" / L"folder"));
  EXPECT_TRUE(protect_program_folder(open_folder(base_ / L"open")));
  EXPECT_TRUE(is_protected(base_ / L"open"));
}

TEST_F(Folder, ForProgramsMayContainFilesOnlyIfItWasProtected) {
  fs::create_directory(base_ / L"a");
  std::ofstream(base_ / L"a" / L"own.txt") << "a file";
  EXPECT_TRUE(protect_program_folder(base_ / L"a"));
  open_folder(base_ / L"a");
  EXPECT_FALSE(protect_program_folder(base_ / L"a"));
  EXPECT_FALSE(is_protected(base_ / L"a"));  // its permissions are not the installer's to change
}

TEST_F(Folder, ForProgramsIsRefusedWhereOthersMayReplaceIt) {
  EXPECT_FALSE(protect_program_folder(open_folder(base_ / L"open") / L"a"));
}

TEST_F(Folder, ForTheLogCannotBeReplaced) {
  open_folder(base_ / L"VELM" / L"log");
  open_folder(base_ / L"VELM");
  EXPECT_TRUE(create_log_folder(base_));
  EXPECT_THAT(others_who_may(kReplace, base_ / L"VELM", controls_the_machine), Optional(IsEmpty()));
  EXPECT_THAT(others_who_may(kReplace, base_ / L"VELM" / L"log", controls_the_machine), Optional(IsEmpty()));
}

TEST_F(Folder, ForTheLogIsNotCreatedOverAFile) {
  fs::create_directory(base_ / L"VELM");
  std::ofstream(base_ / L"VELM" / L"log") << "a file";
  EXPECT_FALSE(create_log_folder(base_));
}

}  // namespace

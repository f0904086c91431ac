// Shows that an output file is on the disk before it replaces its target, and the new name after that.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "softtoken/providers/saf/file_stream.h"
#include "softtoken/providers/saf/saf_call.h"
#include "softtoken/tests/providers/samples.h"

namespace {

std::vector<std::string> steps;
std::string failing_step;

}  // namespace

// The linker redirects the calls of the module to these functions.
extern "C" int __real_fsync(int file);
extern "C" int __real_rename(const char* from, const char* to);

extern "C" int __wrap_fsync(int file) {
  struct stat status {};
  fstat(file, &status);
  steps.push_back(S_ISDIR(status.st_mode) ? "folder to disk" : std::to_string(status.st_size) + " to disk");
  if (steps.back() != failing_step) return __real_fsync(file);
  errno = EIO;
  return -1;
}

extern "C" int __wrap_rename(const char* from, const char* to) {
  steps.push_back("rename");
  return __real_rename(from, to);
}

namespace velm::token {
namespace {

using testing::ElementsAre;

constexpr char kFolder[] = "output_file_test";

class OutputFiles : public testing::Test {
 protected:
  void SetUp() override {
    steps.clear();
    failing_step.clear();
    std::filesystem::remove_all(kFolder);
    std::filesystem::create_directory(kFolder);
  }
  void TearDown() override { std::filesystem::remove_all(kFolder); }

  static size_t files_in_folder() {
    const std::filesystem::directory_iterator files(kFolder);
    return static_cast<size_t>(std::distance(begin(files), end(files)));
  }
};

TEST_F(OutputFiles, AreOnTheDiskBeforeTheirName) {
  OutputFile file(std::string(kFolder) + "/target");
  file.write(Bytes(70000, 1));
  file.commit();
  EXPECT_THAT(steps, ElementsAre("70000 to disk", "rename", "folder to disk"));
  EXPECT_EQ(file_bytes(std::string(kFolder) + "/target"), Bytes(70000, 1));
}

TEST_F(OutputFiles, InTheCurrentFolderAreOnTheDiskToo) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(kFolder);
  OutputFile file("target");
  file.write(Bytes(3, 1));
  file.commit();
  std::filesystem::current_path(before);
  EXPECT_THAT(steps, ElementsAre("3 to disk", "rename", "folder to disk"));
}

TEST_F(OutputFiles, ThatCannotBeWrittenToTheDiskLeaveTheTarget) {
  const std::string target = std::string(kFolder) + "/target";
  write_file(target, as_bytes("before"));
  failing_step = "5 to disk";
  const uint32_t code = saf_call([&] {
    OutputFile file(target);
    file.write(as_bytes("after"));
    file.commit();
  });
  EXPECT_EQ(code, protocol::kSafFileWrite);
  EXPECT_THAT(steps, ElementsAre("5 to disk"));
  EXPECT_EQ(as_text(file_bytes(target)), "before");
  EXPECT_EQ(files_in_folder(), 1u);
}

TEST_F(OutputFiles, ReportAFolderThatCannotBeWrittenToTheDisk) {
  failing_step = "folder to disk";
  const uint32_t code = saf_call([&] {
    OutputFile file(std::string(kFolder) + "/target");
    file.commit();
  });
  EXPECT_EQ(code, protocol::kSafFileWrite);
}

}  // namespace
}  // namespace velm::token

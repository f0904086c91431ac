// Shows that an output file is on the disk before it replaces its target, and the new name after that; and
// that a call that fails, at whatever step, leaves its folder as it was.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "provider_abi/velm_client_saf.h"
#include "softtoken/providers/saf/file_stream.h"
#include "softtoken/providers/saf/saf_call.h"
#include "softtoken/tests/providers/folder_state.h"
#include "softtoken/tests/store/temporary_folder.h"

namespace {

std::vector<std::string> steps;
std::string failing_step;
size_t writes_before_failure = 0;

int failed() {
  errno = EIO;
  return -1;
}

}  // namespace

// The linker redirects the calls of the module to these functions.
extern "C" int __real_fsync(int file);
extern "C" int __real_rename(const char* from, const char* to);
extern "C" int __real_fclose(std::FILE* file);
extern "C" size_t __real_fwrite(const void* bytes, size_t size, size_t count, std::FILE* file);

extern "C" int __wrap_fsync(int file) {
  struct stat status {};
  fstat(file, &status);
  steps.push_back(S_ISDIR(status.st_mode) ? "folder to disk" : std::to_string(status.st_size) + " to disk");
  return steps.back() == failing_step ? failed() : __real_fsync(file);
}

extern "C" int __wrap_rename(const char* from, const char* to) {
  steps.push_back("rename");
  return failing_step == "rename" ? failed() : __real_rename(from, to);
}

// A close that fails has closed the file all the same.
extern "C" int __wrap_fclose(std::FILE* file) {
  const int closed = __real_fclose(file);
  return failing_step == "close" ? failed() : closed;
}

// A full disk takes part of the bytes.
extern "C" size_t __wrap_fwrite(const void* bytes, size_t size, size_t count, std::FILE* file) {
  if (failing_step != "write" || writes_before_failure-- != 0) return __real_fwrite(bytes, size, count, file);
  return __real_fwrite(bytes, size, count / 2, file);
}

namespace velm::token {
namespace {

using testing::ElementsAre;

constexpr uint32_t kSm4Cbc = 0x402;
const Bytes kKey(16, 1);
const Bytes kIv(16, 2);

class OutputFiles : public testing::Test {
 protected:
  void SetUp() override {
    steps.clear();
    failing_step.clear();
  }
  void TearDown() override { failing_step.clear(); }

  using Convert = decltype(&SAF_Ext_SymmEncryptFile);
  uint32_t convert(Convert function, const std::string& from, const std::string& to) {
    return function(kSm4Cbc, kIv.data(), size_of(kIv), kKey.data(), size_of(kKey), from.c_str(), to.c_str());
  }

  std::string file(const std::string& name) const { return (folder_.path() / name).string(); }
  FolderState state() const { return folder_state(folder_.path()); }

  const TemporaryFolder folder_;
  const std::string target_ = file("target");
};

TEST_F(OutputFiles, AreOnTheDiskBeforeTheirName) {
  OutputFile output(target_);
  output.write(Bytes(70000, 1));
  output.commit();
  EXPECT_THAT(steps, ElementsAre("70000 to disk", "rename", "folder to disk"));
  EXPECT_EQ(file_bytes(target_), Bytes(70000, 1));
}

TEST_F(OutputFiles, InTheCurrentFolderAreOnTheDiskToo) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.path());
  OutputFile output("target");
  output.write(Bytes(3, 1));
  output.commit();
  std::filesystem::current_path(before);
  EXPECT_THAT(steps, ElementsAre("3 to disk", "rename", "folder to disk"));
}

TEST_F(OutputFiles, ThatCannotBeWrittenToTheDiskLeaveTheTarget) {
  write_file(target_, as_bytes("before"));
  failing_step = "5 to disk";
  const uint32_t code = saf_call([&] {
    OutputFile output(target_);
    output.write(as_bytes("after"));
    output.commit();
  });
  EXPECT_EQ(code, protocol::kSafFileWrite);
  EXPECT_THAT(steps, ElementsAre("5 to disk"));
  EXPECT_EQ(state(), (FolderState{{"target", copy_of(as_bytes("before"))}}));
}

TEST_F(OutputFiles, ReportAFolderThatCannotBeWrittenToTheDisk) {
  failing_step = "folder to disk";
  const uint32_t code = saf_call([&] {
    OutputFile output(target_);
    output.commit();
  });
  EXPECT_EQ(code, protocol::kSafFileWrite);
}

// The input of these calls is longer than two pieces, so that part of the output was written before.
TEST_F(OutputFiles, OfEveryStepThatFailsLeaveTheFolderAsItWas) {
  const std::string plain = file("plain");
  const std::string cipher = file("cipher");
  write_file(plain, Bytes(150'000, 3));
  ASSERT_EQ(convert(SAF_Ext_SymmEncryptFile, plain, cipher), protocol::kSafSuccess);
  const std::string size_of_cipher = std::to_string(file_bytes(cipher).size());
  for (const bool exists : {false, true}) {
    if (exists) write_file(target_, as_bytes("before"));
    const FolderState before = state();
    for (const std::string step : {"write", "150000 to disk", "close", "rename"}) {
      const std::string of_cipher = step == "150000 to disk" ? size_of_cipher + " to disk" : step;
      for (size_t writes = 0; writes < 3; ++writes) {
        writes_before_failure = writes;
        failing_step = step;
        EXPECT_EQ(convert(SAF_Ext_SymmDecryptFile, cipher, target_), protocol::kSafFileWrite) << step;
        failing_step = of_cipher;
        writes_before_failure = writes;
        EXPECT_EQ(convert(SAF_Ext_SymmEncryptFile, plain, target_), protocol::kSafFileWrite) << step;
        failing_step.clear();
        EXPECT_EQ(state(), before) << step << " after " << writes << " writes";
      }
    }
  }
}

TEST_F(OutputFiles, OfInputsThatDoNotDecryptLeaveTheFolderAsItWas) {
  const std::string damaged = file("damaged");
  write_file(damaged, Bytes(150'000, 3));
  const FolderState before = state();
  EXPECT_EQ(convert(SAF_Ext_SymmDecryptFile, damaged, target_), protocol::kSafDecryptFailed);
  EXPECT_EQ(convert(SAF_Ext_SymmDecryptFile, damaged, damaged), protocol::kSafDecryptFailed);
  EXPECT_EQ(convert(SAF_Ext_SymmDecryptFile, file("missing"), target_), protocol::kSafFileOpen);
  EXPECT_EQ(state(), before);
}

TEST_F(OutputFiles, OfTheSameTargetDoNotMix) {
  OutputFile first(target_);
  OutputFile second(target_);
  EXPECT_EQ(state().size(), 2u);
  first.write(Bytes(70'000, 1));
  second.write(Bytes(5, 2));
  first.commit();
  EXPECT_EQ(file_bytes(target_), Bytes(70'000, 1));
  second.commit();
  EXPECT_EQ(state(), (FolderState{{"target", Bytes(5, 2)}}));
}

}  // namespace
}  // namespace velm::token

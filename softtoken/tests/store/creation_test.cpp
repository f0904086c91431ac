// Ends the process at every step of the creation of a store, and looks at what it leaves.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "softtoken/store/store.h"
#include "softtoken/tests/store/temporary_folder.h"

namespace velm::token {
namespace {

// Steps that the process may still take.
int steps_left = 0;

void take_step() {
  if (steps_left-- == 0) _exit(0);
}

/** Replaces a system call of SQLite by one that counts as a step before it is made. */
template <typename Result, typename... Arguments>
class CountedCall {
 public:
  static void install(const char* name) {
    sqlite3_vfs* vfs = sqlite3_vfs_find("unix");
    real = reinterpret_cast<Call>(vfs->xGetSystemCall(vfs, name));
    vfs->xSetSystemCall(vfs, name, reinterpret_cast<sqlite3_syscall_ptr>(&counted));
  }

 private:
  using Call = Result (*)(Arguments...);

  static Result counted(Arguments... arguments) {
    take_step();
    return real(arguments...);
  }

  static inline Call real = nullptr;
};

void count_changes_of_files() {
  CountedCall<int, const char*, int, int>::install("open");
  CountedCall<ssize_t, int, const void*, size_t, off64_t>::install("pwrite64");
  CountedCall<int, int, off_t>::install("ftruncate");
  CountedCall<int, int, mode_t>::install("fchmod");
  CountedCall<int, const char*>::install("unlink");
}

// Returns whether the store was complete after that many steps.
bool complete_after(int steps, const std::filesystem::path& file) {
  const pid_t child = fork();
  if (child == 0) {
    umask(0);
    count_changes_of_files();
    steps_left = steps;
    Store::create(file);
    _exit(1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status)) << status;
  return WEXITSTATUS(status) == 1;
}

mode_t mode_of(const std::filesystem::path& path) {
  struct stat found {};
  EXPECT_EQ(stat(path.c_str(), &found), 0);
  return found.st_mode & 0777;
}

TEST(Creation, LeavesNothingThatOthersMayRead) {
  int steps = 0;
  for (bool complete = false; !complete; ++steps) {
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "new" / "store.db";
    complete = complete_after(steps, file);
    EXPECT_EQ(mode_of(file.parent_path()), 0700);
    for (const auto& entry : std::filesystem::directory_iterator(file.parent_path()))
      EXPECT_EQ(mode_of(entry), 0600) << entry << " after " << steps << " steps";
    if (!Store::exists(file)) {
      EXPECT_FALSE(complete);
      Store::create(file);
    }
    EXPECT_EQ(Store(file).roots().size(), 2u) << steps;
  }
  EXPECT_GT(steps, 10);
}

TEST(Creation, RefusesAFileThatOthersMayRead) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "store.db";
  std::ofstream(file).close();
  for (const mode_t mode : {0644, 0640, 0620, 0606}) {
    chmod(file.c_str(), mode);
    for (const auto& open :
         {std::function([&] { Store::create(file); }), std::function([&] { Store(file).roots(); }),
          std::function([&] { Store::exists(file); })}) {
      try {
        open();
        FAIL() << std::oct << mode;
      } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("chmod 600"), std::string::npos) << error.what();
      }
    }
    EXPECT_EQ(mode_of(file), mode);
    EXPECT_EQ(std::filesystem::file_size(file), 0u);
  }
  chmod(file.c_str(), 0600);
  Store::create(file);
}

}  // namespace
}  // namespace velm::token

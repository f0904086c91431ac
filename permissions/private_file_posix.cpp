#include <cerrno>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "permissions/private_file.h"

namespace velm::permissions {
namespace {

constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
constexpr mode_t kOthers = S_IRWXG | S_IRWXO;

[[noreturn]] void fail(const std::filesystem::path& path) {
  throw std::runtime_error("cannot create " + path.string() + ": " + std::generic_category().message(errno));
}

void create_private_folder(const std::filesystem::path& folder) {
  if (folder.empty() || std::filesystem::exists(folder)) return;
  if (folder.has_parent_path()) std::filesystem::create_directories(folder.parent_path());
  if (mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST) fail(folder);
}

}  // namespace

void create_private_file(const std::filesystem::path& file) {
  create_private_folder(file.parent_path());
  const int created = open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly);
  if (created >= 0) {
    close(created);
  } else if (errno != EEXIST) {
    fail(file);
  }
}

void require_private_file(const std::filesystem::path& file) {
  struct stat found {};
  // Without rights for others, another user's file can only be opened by root. The owner needs no check.
  if (stat(file.c_str(), &found) != 0 || (found.st_mode & kOthers) == 0) return;
  throw std::runtime_error("other users may read or write " + file.string() + "; run: chmod 600 " +
                           file.string());
}

}  // namespace velm::permissions

#include "softtoken/service/default_store.h"

#include <cstdlib>

namespace velm::token {
namespace {

#ifdef _WIN32

std::filesystem::path user_data() {
  // The wide form, because user names may contain characters outside the ANSI code page.
  const wchar_t* data = _wgetenv(L"LOCALAPPDATA");
  return data != nullptr ? data : L"";
}

#else

std::filesystem::path environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::filesystem::path user_data() {
  const std::filesystem::path data = environment("XDG_DATA_HOME");
  return data.is_absolute() ? data : environment("HOME") / ".local" / "share";
}

#endif

}  // namespace

// A relative path would depend on the current folder.
std::optional<std::filesystem::path> default_store() {
  const std::filesystem::path data = user_data();
  if (!data.is_absolute()) return std::nullopt;
  return data / "VELM" / "softtoken.db";
}

}  // namespace velm::token

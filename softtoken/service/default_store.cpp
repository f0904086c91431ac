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
  return data.empty() ? environment("HOME") / ".local" / "share" : data;
}

#endif

}  // namespace

std::filesystem::path default_store() { return user_data() / "VELM" / "softtoken.db"; }

}  // namespace velm::token

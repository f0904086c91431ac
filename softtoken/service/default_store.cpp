#include "softtoken/service/default_store.h"

#include <cstdlib>

namespace velm::token {
namespace {

std::filesystem::path environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::filesystem::path user_data() {
#ifdef _WIN32
  return environment("LOCALAPPDATA");
#else
  const std::filesystem::path data = environment("XDG_DATA_HOME");
  return data.empty() ? environment("HOME") / ".local" / "share" : data;
#endif
}

}  // namespace

std::filesystem::path default_store() { return user_data() / "VELM" / "softtoken.db"; }

}  // namespace velm::token

#include "softtoken/providers/saf/module_folder.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace velm::token {
namespace {

const char kWithinModule = 0;

#ifdef _WIN32
std::string module_path() {
  HMODULE module = nullptr;
  const DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  if (!GetModuleHandleExA(flags, &kWithinModule, &module)) return {};
  std::string path(32768, '\0');
  path.resize(GetModuleFileNameA(module, path.data(), static_cast<DWORD>(path.size())));
  return path;
}
#else
std::string module_path() {
  Dl_info info{};
  return dladdr(&kWithinModule, &info) != 0 ? info.dli_fname : "";
}
#endif

}  // namespace

std::string module_folder() {
  const std::string path = module_path();
  return path.substr(0, path.find_last_of("/\\") + 1);
}

}  // namespace velm::token

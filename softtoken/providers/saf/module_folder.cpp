#include "softtoken/providers/saf/module_folder.h"

#include "softtoken/providers/saf/saf_call.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace velm::token {

using namespace protocol;

namespace {

const char kWithinModule = 0;

#ifdef _WIN32
std::filesystem::path module_path() {
  HMODULE module = nullptr;
  const DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  const auto* address = reinterpret_cast<const wchar_t*>(&kWithinModule);
  if (!GetModuleHandleExW(flags, address, &module)) return {};
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
  return path;
}
#else
std::filesystem::path module_path() {
  Dl_info info{};
  return dladdr(&kWithinModule, &info) != 0 ? info.dli_fname : "";
}
#endif

}  // namespace

std::filesystem::path module_folder() {
  const std::filesystem::path path = module_path();
  require_saf(path.has_parent_path(), kSafFileOpen);
  return path.parent_path();
}

}  // namespace velm::token

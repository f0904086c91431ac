#pragma once

#include <filesystem>

#ifdef _WIN32
#include <windows.h>
#endif

namespace velm::token {

/** The signature provider. The native build links it into the test. */
inline std::filesystem::path module_path() {
#ifdef _WIN32
  wchar_t path[MAX_PATH];
  GetModuleFileNameW(GetModuleHandleW(L"velm_client_saf.dll"), path, MAX_PATH);
  return path;
#else
  return std::filesystem::read_symlink("/proc/self/exe");
#endif
}

}  // namespace velm::token

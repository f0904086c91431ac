// The folder of the running test program, with a trailing backslash. It contains every DLL the program loads.
#pragma once

#include <windows.h>

#include <string>

namespace velm::test {

inline std::wstring program_path() {
  wchar_t path[MAX_PATH];
  return {path, GetModuleFileNameW(nullptr, path, MAX_PATH)};
}

inline std::wstring program_folder() {
  const std::wstring path = program_path();
  return path.substr(0, path.rfind(L'\\') + 1);
}

}  // namespace velm::test

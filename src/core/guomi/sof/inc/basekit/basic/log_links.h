// Recognises links among the folders of the log file. Every user may create folders in %ProgramData%: a link
// in place of VELM, log or the folder of the day leads to a folder that another user has chosen.
#pragma once

#include <windows.h>

#include <array>
#include <cstring>

namespace velm::log {

constexpr size_t kPathCharacters = 1024;
using PathText = std::array<char, kPathCharacters>;

// Folders whose attributes cannot be read count as links, missing ones do not.
inline bool is_link(const char* folder) noexcept {
  const DWORD attributes = GetFileAttributesA(folder);
  if (attributes != INVALID_FILE_ATTRIBUTES) return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
  const DWORD error = GetLastError();
  return error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND;
}

// Returns whether one of the last `folders` folders above `path` is a link.
inline bool leads_through_link(PathText path, int folders) noexcept {
  for (int i = 0; i < folders; ++i) {
    char* separator = std::strrchr(path.data(), '\\');
    if (!separator) return false;
    *separator = '\0';
    if (is_link(path.data())) return true;
  }
  return false;
}

}  // namespace velm::log

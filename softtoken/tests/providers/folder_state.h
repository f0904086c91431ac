#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "softtoken/tests/providers/samples.h"

namespace velm::token {

/** The files of a folder, with their contents. */
using FolderState = std::map<std::string, Bytes>;

inline FolderState folder_state(const std::filesystem::path& folder) {
  FolderState files;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    files[entry.path().filename().string()] = file_bytes(entry.path().string());
  return files;
}

}  // namespace velm::token

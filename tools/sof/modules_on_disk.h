#pragma once

#include <filesystem>
#include <string>
#include <vector>

/** The library and the modules that it imports. */
struct ModuleOnDisk {
  std::string name;
  /** Path of the file; empty if it was not found. */
  std::filesystem::path path;
  /** File version from the version resource; empty if it has none. */
  std::string version;
};

/** The folder of this program, which also contains the library. */
std::filesystem::path program_folder();

/** Returns the library first. Paths are those of the loaded modules, or those that the loader would use. */
std::vector<ModuleOnDisk> modules_on_disk();

#pragma once

#include <filesystem>
#include <string>
#include <vector>

/** The library and the modules that it imports. */
struct ModuleOnDisk {
  std::string name;
  /** Path of the file; empty if it was not found. */
  std::filesystem::path path;
  /** False if the path is that of a file which other programs may load. */
  bool is_loaded = false;
  bool is_in_program_folder = false;
  /** File version from the version resource; empty if it has none. */
  std::string version;
};

/** The folder of this program, which also contains the library. */
std::filesystem::path program_folder();

/**
 * Returns the library first. Paths are those of the loaded modules. For the others they are those of files in
 * the program folder or, without one, of files that programs find with the standard search order.
 */
std::vector<ModuleOnDisk> modules_on_disk();

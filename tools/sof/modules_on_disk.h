#pragma once

#include <filesystem>
#include <string>
#include <vector>

/** The library and the modules that it imports. */
struct ModuleOnDisk {
  std::string name;
  /** Where it lies; empty when it lies nowhere. */
  std::filesystem::path path;
  /** From its version resource; empty when it has none. */
  std::string version;
};

/** The folder that this program lies in, and the library with it. */
std::filesystem::path program_folder();

/** The library first; each as this process has loaded it, or else as it would find it. */
std::vector<ModuleOnDisk> modules_on_disk();

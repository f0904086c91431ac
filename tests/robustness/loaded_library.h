// Loads the library for the lifetime of the object and nothing else: the log folder is not emptied.
#pragma once

#include <windows.h>

#include <stdexcept>
#include <string>

#include "support/program_folder.h"

namespace velm::test {

class LoadedLibrary {
 public:
  LoadedLibrary() : module_(LoadLibraryW((program_folder() + L"velm_sof_client.dll").c_str())) {
    if (!module_) throw std::runtime_error("the library cannot be loaded: " + std::to_string(GetLastError()));
  }
  ~LoadedLibrary() { FreeLibrary(module_); }
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;

  template <class Signature>
  Signature* function(const char* name) const {
    return reinterpret_cast<Signature*>(reinterpret_cast<void (*)()>(GetProcAddress(module_, name)));
  }

 private:
  HMODULE module_;
};

}  // namespace velm::test

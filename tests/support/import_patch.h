// Replaces one function that a loaded module imports, for that module only and as long as the patch lives.
// This is how the library is made to see a system that fails.
//
//   ImportPatch patch(library.module(), "kernel32.dll", "GetACP", +[]() -> UINT { return 936; });
//
// The replacement is a plain function; patch.original<Function>() is what it replaces. The compiler may have
// the module read an import once for several calls of one of its functions.
#pragma once

#include <windows.h>

namespace velm::test {

class ImportPatch {
 public:
  // `dll` in any case, with its extension. Throws when the module does not import the function.
  template <class Result, class... Arguments>
  ImportPatch(HMODULE module, const char* dll, const char* function, Result (*replacement)(Arguments...))
      : ImportPatch(module, dll, function, reinterpret_cast<void*>(replacement)) {}
  ImportPatch(HMODULE module, const char* dll, const char* function, void* replacement);
  ~ImportPatch();
  ImportPatch(const ImportPatch&) = delete;
  ImportPatch& operator=(const ImportPatch&) = delete;

  template <class Function>
  Function original() const {
    return reinterpret_cast<Function>(original_);
  }

  static bool is_imported(HMODULE module, const char* dll, const char* function);

 private:
  void** entry_;
  void* original_ = nullptr;
};

}  // namespace velm::test

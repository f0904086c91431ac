// Replaces one imported function of a loaded module, for that module only and for the lifetime of the patch.
// Tests use it to simulate system calls that fail.
//
//   ImportPatch patch(library.module(), "kernel32.dll", "GetACP", +[]() -> UINT { return 936; });
//
// The replacement is a plain function; patch.original<Function>() returns the replaced one. The compiler may
// let the module load an import once for several calls in the same function.
#pragma once

#include <windows.h>

namespace velm::test {

class ImportPatch {
 public:
  // `dll` is matched case-insensitively and includes the extension. Throws if the module does not import the
  // function.
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

  // Keeps the replacement beyond the lifetime of the patch.
  void keep() { entry_ = nullptr; }

  static bool is_imported(HMODULE module, const char* dll, const char* function);

 private:
  void** entry_;
  void* original_ = nullptr;
};

}  // namespace velm::test

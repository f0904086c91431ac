#include <windows.h>

#include "runtime/module_runtime.h"

// Of a module that holds nothing but its C++ runtime.
BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID process_ends) {
  if (reason == DLL_PROCESS_ATTACH) return velm::open_module_runtime();
  if (reason == DLL_PROCESS_DETACH && process_ends == nullptr) velm::close_module_runtime();
  return TRUE;
}

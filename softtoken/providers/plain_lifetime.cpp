#include <windows.h>

#include "mingw_tls/thread_storage.h"

// Of a module that holds nothing but its C++ runtime.
BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID process_ends) {
  if (reason == DLL_PROCESS_ATTACH) return velm::open_thread_storage();
  if (reason == DLL_PROCESS_DETACH && process_ends == nullptr) velm::close_thread_storage();
  return TRUE;
}

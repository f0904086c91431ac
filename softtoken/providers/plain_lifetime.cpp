#include <windows.h>

#include "mingw_tls/thread_storage.h"

// For modules whose only state is their thread storage.
BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID process_ends) {
  if (reason == DLL_PROCESS_ATTACH) velm::open_thread_storage();
  if (reason == DLL_PROCESS_DETACH && process_ends == nullptr) velm::close_thread_storage();
  return TRUE;
}

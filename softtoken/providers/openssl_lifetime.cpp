#include <windows.h>

#include <openssl/crypto.h>

#include "mingw_tls/thread_storage.h"
#include "softtoken/providers/module_call.h"

// OpenSSL is linked statically. Its per-thread data is released when the thread ends, the rest when the
// module is unloaded. At process exit nothing is released: terminated threads may hold locks, and the system
// reclaims the memory.
BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID process_ends) {
  switch (reason) {
    case DLL_PROCESS_ATTACH:
      velm::open_thread_storage();
      velm::token::open_openssl();
      return TRUE;
    case DLL_THREAD_DETACH:
      OPENSSL_thread_stop();
      return TRUE;
    case DLL_PROCESS_DETACH:
      if (process_ends != nullptr) return TRUE;
      OPENSSL_cleanup();
      velm::close_thread_storage();
      return TRUE;
    default:
      return TRUE;
  }
}

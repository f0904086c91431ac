#include <windows.h>

#include <openssl/crypto.h>

#include "mingw_tls/thread_storage.h"

// OpenSSL lies within the module. No configuration file of the machine changes what it does. What it keeps
// for a thread goes when the thread ends, and all of it when the module is unloaded; at the end of the
// process the system takes everything back, and threads that were stopped there may hold locks.
BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID process_ends) {
  switch (reason) {
    case DLL_PROCESS_ATTACH:
      return velm::open_thread_storage() &&
             OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT | OPENSSL_INIT_NO_LOAD_CONFIG, nullptr) == 1;
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

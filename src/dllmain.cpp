// DLL entry point.
#include <windows.h>
#include <io.h>

#include <cstring>

#include "basekit/basic/log.h"
#include "mingw_tls/thread_storage.h"
#include "provider_abi/velm_client_saf.h"
#include "sof_impl.h"

namespace velm {
namespace {

constinit log::Unit unit{R"(..\..\src\dllmain)"};

void attach(HINSTANCE module) {
  // Without thread storage the library still loads, but creates no log directories and writes no log line.
  const bool is_prepared = prepare_thread();
  if (is_prepared) log::create_directories();
  log::configuration.field_mask = log::kMaskFromLoad;
  if (_waccess(L"c:\\velm_log", 0) == 0) log::configuration.threshold = log::kVerbose;
  std::strcpy(log::configuration.module_tag, "SOF");
  DisableThreadLibraryCalls(module);
  if (is_prepared) log::write(unit, log::kInformation, __LINE__, "DllMain->Process attach.\n");
}

// At the end of the process, threads that were stopped inside the heap may leave it in a state in which an
// allocation does not return: nothing is allocated unless a line is written.
bool can_log(uint32_t level) { return log::is_kept(level) && prepare_thread(); }

void detach() {
  if (can_log(log::kInformation)) {
    log::write(unit, log::kInformation, __LINE__, "DllMain->Process detach.\n");
  }
  void* handle = g_hAppHandle.exchange(nullptr);
  if (!handle) return;
  const uint32_t result = SAF_Finalize(handle);
  if (result != 0 && can_log(log::kError)) {
    log::write(unit, log::kError, __LINE__, "DllMain -> SAF_Finalize, saf_rv = 0x%08X \n", result);
  }
}

}  // namespace
}  // namespace velm

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID process_ends) {
  switch (reason) {
    case DLL_PROCESS_ATTACH:
      velm::open_thread_storage();
      velm::attach(module);
      return TRUE;
    case DLL_PROCESS_DETACH:
      velm::detach();
      if (!process_ends) velm::close_thread_storage();
      return TRUE;
    default:
      return TRUE;
  }
}

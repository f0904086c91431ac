// DLL entry point.
#include <windows.h>
#include <io.h>

#include <cstring>

#include "basekit/basic/log.h"
#include "provider_abi/velm_client_saf.h"
#include "mingw_tls/thread_storage.h"
#include "sof_impl.h"

namespace velm {
namespace {

constinit log::Unit unit{R"(..\..\src\dllmain)"};

void attach(HINSTANCE module) {
  // Without thread storage the library still loads, but creates no log directories and writes no log line.
  const bool can_log = prepare_thread();
  if (can_log) log::create_directories();
  log::configuration.field_mask = log::kMaskFromLoad;
  if (_waccess(L"c:\\velm_log", 0) == 0) log::configuration.threshold = log::kVerbose;
  std::strcpy(log::configuration.module_tag, "SOF");
  DisableThreadLibraryCalls(module);
  if (can_log) log::write(unit, log::kInformation, __LINE__, "DllMain->Process attach.\n");
}

void detach() {
  const bool can_log = prepare_thread();
  if (can_log) log::write(unit, log::kInformation, __LINE__, "DllMain->Process detach.\n");
  void* handle = g_hAppHandle.exchange(nullptr);
  if (!handle) return;
  const uint32_t result = SAF_Finalize(handle);
  if (result != 0 && can_log) {
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
    default: return TRUE;
  }
}

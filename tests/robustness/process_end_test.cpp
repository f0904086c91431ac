// Ends the process while a thread is inside a call of the signature provider. Unloading must not wait for a
// lock that a terminated thread holds.
#include <windows.h>
#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "inc/velm_sof_client.h"
#include "provider_abi/velm_client_saf.h"
#include "support/fresh_process.h"
#include "support/import_patch.h"
#include "support/program_folder.h"

using namespace velm::test;

namespace {

constexpr UINT kEnded = 7;

HMODULE provider() { return GetModuleHandleW(L"velm_client_saf.dll"); }

template <class Function>
Function provider_function(const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(provider(), name)));
}

// Exits while a thread loops inside the module's lock, in the allocation for a copy of the configuration.
CHILD_PROCESS(ends_inside_the_lock) {
  static std::atomic<DWORD> kept_thread{0};
  static std::atomic<bool> inside{false};
  std::ofstream("process_end.dat") << "service_address = a.host.whose.name.needs.memory:1\n";
  uint32_t time_length = 0;
  SOF_Ext_GM_Tsp_GetTime(nullptr, &time_length);  // opens the library's application handle
  static const ImportPatch patch(
      provider(), "msvcrt.dll", "malloc", +[](size_t size) {
        while (kept_thread == GetCurrentThreadId()) inside = true;
        return std::malloc(size);
      });
  std::thread([] {
    void* application = nullptr;
    uint32_t length = 0;
    provider_function<decltype(&SAF_Initialize)>("SAF_Initialize")(&application, "process_end.dat");
    kept_thread = GetCurrentThreadId();
    // This function looks up the application before it checks its other arguments.
    provider_function<decltype(&SAF_Ext_CMS_DecodeEnvelopedData)>("SAF_Ext_CMS_DecodeEnvelopedData")(
        application, nullptr, 0, nullptr, 0, nullptr, &length);
  }).detach();
  while (!inside) Sleep(1);
  SetEvent(reinterpret_cast<HANDLE>(std::stoull(arguments.at(0))));
  ExitProcess(kEnded);
}

// Runs the child and returns how it ended. It must end within 5 s after it has started to exit.
std::string outcome_of_child() {
  SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
  const HANDLE ending = CreateEventW(&inheritable, TRUE, FALSE, nullptr);
  std::wstring command = L"\"" + program_path() + L"\" --velm-child=ends_inside_the_lock " +
                         std::to_wstring(reinterpret_cast<uintptr_t>(ending));
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION child{};
  std::string result = "cannot be started";
  if (CreateProcessW(program_path().c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                     &startup, &child)) {
    const HANDLE first[] = {ending, child.hProcess};
    WaitForMultipleObjects(2, first, FALSE, 60'000);
    const bool ended = WaitForSingleObject(child.hProcess, 5'000) == WAIT_OBJECT_0;
    if (!ended) TerminateProcess(child.hProcess, 1);
    DWORD code = 0;
    GetExitCodeProcess(child.hProcess, &code);
    result = ended ? "ended with " + std::to_string(code) : "hangs";
    CloseHandle(child.hThread);
    CloseHandle(child.hProcess);
  }
  CloseHandle(ending);
  return result;
}

TEST(ProcessEnd, DoesNotWaitForTheModuleLock) {
  EXPECT_EQ(outcome_of_child(), "ended with " + std::to_string(kEnded));
  std::remove("process_end.dat");
}

}  // namespace

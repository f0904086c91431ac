// Ends the process while threads are inside calls of the library and of the token's modules. Unloading must
// not wait for a lock that a terminated thread holds.
#include <gmock/gmock.h>
#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "inc/velm_sof_client.h"
#include "provider_abi/velm_client_saf.h"
#include "support/fresh_process.h"
#include "support/import_patch.h"
#include "support/program_folder.h"

using namespace velm::test;

namespace {

constexpr int kThreads = 8;
constexpr UINT kEnded = 7;

HMODULE provider() { return GetModuleHandleW(L"velm_client_saf.dll"); }

template <class Function>
Function provider_function(const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(provider(), name)));
}

// Calls module functions that look up application handles under a lock.
void open_and_close() {
  const auto open = provider_function<decltype(&SAF_Initialize)>("SAF_Initialize");
  const auto close = provider_function<decltype(&SAF_Finalize)>("SAF_Finalize");
  for (int i = 0; i < 100; ++i) {
    void* application = nullptr;
    open(&application, "saf_config.dat");
    close(application);
  }
}

void hash() {
  const uint8_t data[100] = {};
  uint8_t value[32];
  uint32_t length = sizeof value;
  SOF_Ext_HashData(1, data, sizeof data, nullptr, 0, nullptr, 0, value, &length);
}

// Logs, opens the library's application handle, and fails to reach the service.
void fail() {
  uint32_t length = 0;
  SOF_Ext_GM_Tsp_GetTime(nullptr, &length);
  SOF_GenRandom(1, nullptr);
}

CHILD_PROCESS(ends_inside_calls) {
  constexpr void (*kCalls[])() = {open_and_close, hash, open_and_close, fail};
  static std::atomic<int> inside{0};
  for (int i = 0; i < kThreads; ++i) {
    std::thread([call = kCalls[i % 4]] {
      for (bool first = true;; first = false) {
        call();
        if (first) ++inside;
      }
    }).detach();
  }
  while (inside < kThreads) Sleep(1);
  Sleep(static_cast<DWORD>(std::stoul(arguments.at(0))));
  SetEvent(reinterpret_cast<HANDLE>(std::stoull(arguments.at(1))));
  ExitProcess(kEnded);
}

// Exits while a thread loops inside the module's lock, in the allocation for a copy of the configuration.
CHILD_PROCESS(ends_inside_the_lock) {
  static std::atomic<DWORD> kept_thread{0};
  static std::atomic<bool> inside{false};
  std::ofstream("process_end.dat") << "service_address = a.host.whose.name.needs.memory:1\n";
  fail();  // opens the library's application handle
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
  SetEvent(reinterpret_cast<HANDLE>(std::stoull(arguments.at(1))));
  ExitProcess(kEnded);
}

// Runs a child that exits `pause` milliseconds after each of its threads has completed a call; returns how it
// ended.
std::string outcome(const std::wstring& name, unsigned pause) {
  SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
  const HANDLE ending = CreateEventW(&inheritable, TRUE, FALSE, nullptr);
  std::wstring command = L"\"" + program_path() + L"\" --velm-child=" + name + L" " + std::to_wstring(pause) +
                         L" " + std::to_wstring(reinterpret_cast<uintptr_t>(ending));
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

TEST(ProcessEnd, DoesNotWaitForThreadsInsideCalls) {
  constexpr unsigned kProcesses = 200;
  std::atomic<unsigned> next{0};
  std::vector<std::string> outcomes(kProcesses);
  {
    std::vector<std::jthread> starters;
    for (int i = 0; i < 4; ++i) {
      starters.emplace_back([&] {
        for (unsigned at; (at = next++) < kProcesses;) outcomes[at] = outcome(L"ends_inside_calls", at % 10);
      });
    }
  }
  std::erase(outcomes, "ended with " + std::to_string(kEnded));
  EXPECT_THAT(outcomes, testing::IsEmpty());
}

TEST(ProcessEnd, DoesNotWaitForTheModulesLock) {
  EXPECT_EQ(outcome(L"ends_inside_the_lock", 0), "ended with " + std::to_string(kEnded));
  std::remove("process_end.dat");
}

}  // namespace

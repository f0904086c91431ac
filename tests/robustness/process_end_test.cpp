// Ends the process while threads are inside calls of the library and of the provider modules. Unloading must
// not wait for a lock that a terminated thread holds.
#include <windows.h>
#include <gmock/gmock.h>

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

constexpr UINT kEnded = 7;

HMODULE provider() { return GetModuleHandleW(L"velm_client_saf.dll"); }

template <class Function>
Function provider_function(const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(provider(), name)));
}

// Opens and closes application handles of the signature provider.
void open_and_close() {
  const auto open = provider_function<decltype(&SAF_Initialize)>("SAF_Initialize");
  const auto close = provider_function<decltype(&SAF_Finalize)>("SAF_Finalize");
  void* application = nullptr;
  open(&application, "saf_config.dat");
  close(application);
}

// A call that the crypto module answers.
void hash() {
  const uint8_t data[100] = {};
  uint8_t value[32];
  uint32_t length = sizeof value;
  SOF_Ext_HashData(1, data, sizeof data, nullptr, 0, nullptr, 0, value, &length);
}

// Opens the library's application handle, fails to reach the local service, and logs.
void fail() {
  uint32_t length = 0;
  SOF_Ext_GM_Tsp_GetTime(nullptr, &length);
  SOF_GenRandom(1, nullptr);
}

// Stops every thread but one in its next allocation inside the library or a module. Threads must not be
// terminated while they run: under Wine 8, one that is terminated inside RtlWaitOnAddress() or
// RtlWakeAddressSingle() leaves a spin lock of ntdll locked, and the process hangs whatever it has loaded.
class AllocationStop {
 public:
  // Returns when all `threads` have stopped, or when no further one does: it waits for a lock then.
  static void stop_all_but_this(int threads) {
    going_on_ = GetCurrentThreadId();
    for (int before = -1; before < stopped_ && stopped_ < threads; Sleep(50)) before = stopped_;
  }

 private:
  static void* allocate(size_t size) {
    if (going_on_ != 0 && going_on_ != GetCurrentThreadId()) {
      ++stopped_;
      Sleep(INFINITE);
    }
    return std::malloc(size);
  }

  static inline std::atomic<DWORD> going_on_{0};
  static inline std::atomic<int> stopped_{0};

  ImportPatch library_{GetModuleHandleW(L"velm_sof_client.dll"), "msvcrt.dll", "malloc", allocate};
  ImportPatch provider_{provider(), "msvcrt.dll", "malloc", allocate};
  ImportPatch crypto_{GetModuleHandleW(L"velm_openssl_api.dll"), "msvcrt.dll", "malloc", allocate};
};

// Arguments: the event to set before the exit, and the milliseconds that the threads run before.
CHILD_PROCESS(ends_inside_calls) {
  constexpr void (*kCalls[])() = {open_and_close, hash, open_and_close, fail};
  constexpr int kThreads = 8;
  static std::atomic<int> inside{0};
  static const AllocationStop stop;
  for (int i = 0; i < kThreads; ++i) {
    std::thread([call = kCalls[i % 4]] {
      for (bool first = true;; first = false) {
        call();
        if (first) ++inside;
      }
    }).detach();
  }
  while (inside < kThreads) Sleep(1);
  Sleep(static_cast<DWORD>(std::stoul(arguments.at(1))));
  AllocationStop::stop_all_but_this(kThreads);
  SetEvent(reinterpret_cast<HANDLE>(std::stoull(arguments.at(0))));
  ExitProcess(kEnded);
}

// Exits while a thread loops inside the module's lock, in the allocation for a copy of the configuration.
CHILD_PROCESS(ends_inside_the_lock) {
  static std::atomic<DWORD> kept_thread{0};
  static std::atomic<bool> inside{false};
  std::ofstream("process_end.dat") << "allow_remote_addresses = true\n"
                                      "service_address = a.host.whose.name.needs.memory:1\n";
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

// Runs a child and returns how it ended. It must end within 5 s after it has started to exit.
std::string outcome(const std::wstring& child_name, unsigned pause) {
  SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
  const HANDLE ending = CreateEventW(&inheritable, TRUE, FALSE, nullptr);
  std::wstring command = L"\"" + program_path() + L"\" --velm-child=" + child_name + L" " +
                         std::to_wstring(reinterpret_cast<uintptr_t>(ending)) + L" " + std::to_wstring(pause);
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

const std::string kExpected = "ended with " + std::to_string(kEnded);

TEST(ProcessEnd, DoesNotWaitForTheModuleLock) {
  EXPECT_EQ(outcome(L"ends_inside_the_lock", 0), kExpected);
  std::remove("process_end.dat");
}

TEST(ProcessEnd, DoesNotWaitForThreadsInsideCalls) {
  constexpr unsigned kProcesses = 200;
  std::vector<std::string> outcomes;
  for (unsigned i = 0; i < kProcesses; ++i) outcomes.push_back(outcome(L"ends_inside_calls", i % 10));
  EXPECT_THAT(outcomes, testing::Each(kExpected));
}

}  // namespace

// Detects 32-bit processes on a 64-bit system.
#pragma once

#include <windows.h>

#include <atomic>
#include <memory>
#include <type_traits>

namespace velm {

enum Wow64State : int32_t { kWow64Unknown = 0, kWow64 = 1, kNative = 2 };

inline constinit std::atomic<int32_t> wow64_state{kWow64Unknown};

struct HandleCloser {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using OwnedHandle = std::unique_ptr<std::remove_pointer_t<HANDLE>, HandleCloser>;

inline OwnedHandle open_current_process() {
  return OwnedHandle(OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, GetCurrentProcessId()));
}

// Sets wow64_state for `process` (null: the current process). Returns 0, or -1 with the state unchanged.
inline int determine_wow64_state(HANDLE process) {
  OwnedHandle opened;
  if (!process) {
    opened = open_current_process();
    process = opened.get();
  }
  const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
  const auto find = [kernel]<class Function>(const char* name, Function) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(kernel, name)));
  };
  using IsWow64Process2Function = BOOL(WINAPI*)(HANDLE, USHORT*, USHORT*);
  using IsWow64ProcessFunction = BOOL(WINAPI*)(HANDLE, BOOL*);
  if (const auto is_wow64_process2 = find("IsWow64Process2", IsWow64Process2Function{})) {
    USHORT process_machine = IMAGE_FILE_MACHINE_UNKNOWN, native_machine = IMAGE_FILE_MACHINE_UNKNOWN;
    if (!is_wow64_process2(process, &process_machine, &native_machine)) return -1;
    wow64_state = process_machine != IMAGE_FILE_MACHINE_UNKNOWN ? kWow64 : kNative;
    return 0;
  }
  if (const auto is_wow64_process = find("IsWow64Process", IsWow64ProcessFunction{})) {
    BOOL is_wow64 = FALSE;
    if (!is_wow64_process(process, &is_wow64)) return -1;
    wow64_state = is_wow64 ? kWow64 : kNative;
    return 0;
  }
  return -1;
}

}  // namespace velm

// main() of every Windows test program: runs the child named on the command line, or the tests.
#include <windows.h>

#include <cstdio>

#include <gmock/gmock.h>

#include "support/fresh_process.h"

namespace {

// A fault terminates the process with the exception code, without starting a debugger.
LONG WINAPI end_by_fault(EXCEPTION_POINTERS* fault) {
  const DWORD code = fault->ExceptionRecord->ExceptionCode;
  const auto* address = static_cast<const char*>(fault->ExceptionRecord->ExceptionAddress);
  HMODULE module = nullptr;
  char path[MAX_PATH] = "no module";
  constexpr DWORD kOfAddress =
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  if (GetModuleHandleExA(kOfAddress, address, &module)) {
    GetModuleFileNameA(module, path, sizeof path);
  }
  std::fprintf(stderr, "ended by exception 0x%08lX at %p, %s + 0x%llX\n", code,
               static_cast<const void*>(address), path,
               static_cast<unsigned long long>(address - reinterpret_cast<const char*>(module)));
  std::fflush(nullptr);
  TerminateProcess(GetCurrentProcess(), code);
  return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

int main(int argument_count, char** arguments) {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  SetUnhandledExceptionFilter(end_by_fault);
  int exit_code;
  if (velm::test::ran_as_child(argument_count, arguments, exit_code)) return exit_code;
  testing::InitGoogleMock(&argument_count, arguments);
  return RUN_ALL_TESTS();
}

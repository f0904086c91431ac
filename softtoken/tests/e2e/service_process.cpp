#include "service_process.h"

#include <psapi.h>

#include <filesystem>
#include <stdexcept>

#include "velm_sof_client.h"

namespace {

std::filesystem::path program_folder() {
  wchar_t path[MAX_PATH];
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  return std::filesystem::path(path).parent_path();
}

void require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

HANDLE start(const std::wstring& arguments) {
  std::wstring line = L"\"" + (program_folder() / L"velm_softtoken.exe").wstring() + L"\" " + arguments;
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  require(
      CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process),
      "cannot start the local service");
  CloseHandle(process.hThread);
  return process.hProcess;
}

}  // namespace

ServiceProcess::ServiceProcess() {
  const auto folder =
      std::filesystem::temp_directory_path() / ("velm-e2e-" + std::to_string(GetCurrentProcessId()));
  folder_ = folder.wstring();
  const std::wstring data = L"--data \"" + (folder / L"store.db").wstring() + L"\"";

  const HANDLE init = start(L"init --demo " + data);
  DWORD code = 1;
  WaitForSingleObject(init, 120000);
  GetExitCodeProcess(init, &code);
  CloseHandle(init);
  require(code == 0, "cannot create the demo store");

  require(SOF_Initialize() == SOR_COMMUNICATIONERR, "the port is in use");
  process_ = start(L"serve --body-limit 96 " + data);
  uint32_t answer = SOR_COMMUNICATIONERR;
  for (int tries = 0; tries < 300 && answer == SOR_COMMUNICATIONERR; ++tries) {
    Sleep(100);
    answer = SOF_Initialize();
  }
  require(answer == SOR_OK, "the local service does not answer");
}

ServiceProcess::~ServiceProcess() {
  TerminateProcess(process_, 0);
  WaitForSingleObject(process_, 10000);
  CloseHandle(process_);
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

size_t ServiceProcess::private_bytes() const {
  PROCESS_MEMORY_COUNTERS counters{};
  GetProcessMemoryInfo(process_, &counters, sizeof counters);
  return counters.PagefileUsage;
}

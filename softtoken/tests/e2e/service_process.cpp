#include "service_process.h"

#include <filesystem>

#include "velm_sof_client.h"

namespace {

std::filesystem::path program_folder() {
  wchar_t path[MAX_PATH];
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  return std::filesystem::path(path).parent_path();
}

HANDLE start(const std::wstring& arguments) {
  std::wstring line = L"\"" + (program_folder() / L"velm_softtoken.exe").wstring() + L"\" " + arguments;
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process))
    return nullptr;
  CloseHandle(process.hThread);
  return process.hProcess;
}

}  // namespace

void ServiceProcess::SetUp() {
  const auto folder = std::filesystem::temp_directory_path() /
                      ("velm-e2e-" + std::to_string(GetCurrentProcessId()));
  folder_ = folder.wstring();
  const std::wstring data = L"--data \"" + (folder / L"store.db").wstring() + L"\"";

  HANDLE init = start(L"init --demo " + data);
  ASSERT_NE(init, nullptr);
  DWORD code = 1;
  WaitForSingleObject(init, 120000);
  GetExitCodeProcess(init, &code);
  CloseHandle(init);
  ASSERT_EQ(code, 0u);

  ASSERT_EQ(SOF_Initialize(), SOR_COMMUNICATIONERR) << "something listens already";
  process_ = start(L"serve " + data);
  ASSERT_NE(process_, nullptr);
  uint32_t answer = SOR_COMMUNICATIONERR;
  for (int tries = 0; tries < 300 && answer == SOR_COMMUNICATIONERR; ++tries) {
    Sleep(100);
    answer = SOF_Initialize();
  }
  ASSERT_EQ(answer, SOR_OK);
}

void ServiceProcess::TearDown() {
  if (process_ != nullptr) {
    TerminateProcess(process_, 0);
    WaitForSingleObject(process_, 10000);
    CloseHandle(process_);
  }
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

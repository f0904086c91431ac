#include "modules_on_disk.h"

#include <windows.h>

#include "text.h"

namespace {

std::wstring path_of_module(HMODULE module) {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

std::wstring found_path(const std::wstring& name) {
  if (HMODULE loaded = GetModuleHandleW(name.c_str())) return path_of_module(loaded);
  const std::filesystem::path beside = program_folder() / name;
  if (std::filesystem::exists(beside)) return beside.wstring();
  std::wstring path(32768, L'\0');
  path.resize(
      SearchPathW(nullptr, name.c_str(), nullptr, static_cast<DWORD>(path.size()), path.data(), nullptr));
  return path;
}

std::string version_of(const std::wstring& path) {
  std::string resource(GetFileVersionInfoSizeW(path.c_str(), nullptr), '\0');
  VS_FIXEDFILEINFO* info = nullptr;
  UINT size = 0;
  if (resource.empty() ||
      !GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(resource.size()), resource.data()) ||
      !VerQueryValueW(resource.data(), L"\\", reinterpret_cast<void**>(&info), &size)) {
    return {};
  }
  return std::to_string(HIWORD(info->dwFileVersionMS)) + "." + std::to_string(LOWORD(info->dwFileVersionMS)) +
         "." + std::to_string(HIWORD(info->dwFileVersionLS));
}

}  // namespace

std::filesystem::path program_folder() {
  return std::filesystem::path(path_of_module(nullptr)).parent_path();
}

std::vector<ModuleOnDisk> modules_on_disk() {
  std::vector<ModuleOnDisk> modules;
  for (const wchar_t* name : {L"velm_sof_client.dll", L"velm_client_saf.dll", L"velm_openssl_api.dll",
                              L"velm_common.dll", L"velm_dev_enum.dll"}) {
    const std::wstring path = found_path(name);
    modules.push_back({utf8_of(name), path, path.empty() ? "" : version_of(path)});
  }
  return modules;
}

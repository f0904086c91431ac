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
    ModuleOnDisk module;
    module.name = utf8_of(name);
    const HMODULE loaded = GetModuleHandleW(name);
    module.path = loaded ? path_of_module(loaded) : found_path(name);
    module.is_loaded = loaded != nullptr;
    if (!module.path.empty()) {
      std::error_code error;
      module.is_in_program_folder =
          std::filesystem::equivalent(module.path.parent_path(), program_folder(), error);
      module.version = version_of(module.path.wstring());
    }
    modules.push_back(std::move(module));
  }
  return modules;
}

// Values of the path placeholders on this machine.
#pragma once

#include <windows.h>
#include <shlobj.h>

#include <cstdlib>
#include <ctime>

#include "basekit/basic/path_template.h"

namespace velm::path {

inline std::string environment_variable(const char* name) {
  std::string text(kValueArea, '\0');
  for (;;) {
    const DWORD length = GetEnvironmentVariableA(name, text.data(), static_cast<DWORD>(text.size()));
    const bool fits = length < text.size();
    text.resize(length);
    if (fits) return text;
  }
}

inline bool is_64_bit_system() {
  SYSTEM_INFO system{};
  GetNativeSystemInfo(&system);
  return system.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_AMD64 ||
         system.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_IA64;
}

// Returns Value::missing() if the folder query fails.
inline Value special_folder(int csidl) {
  char folder[MAX_PATH] = {};
  if (!SHGetSpecialFolderPathA(nullptr, folder, csidl, FALSE)) return Value::missing();
  return Value::of(folder);
}

inline Value text_or_missing(std::string text) {
  return text.empty() ? Value::missing() : Value::of(std::move(text));
}

inline std::string padded(int first, int second, int third) {
  char text[40];
  std::snprintf(text, sizeof text, "%d%02d%02d", first, second, third);
  return text;
}

inline std::tm local_now() {
  const std::time_t now = std::time(nullptr);
  const std::tm* local = std::localtime(&now);
  return local ? *local : std::tm{};
}

inline Value temporary_directory() {
  char folder[kValueArea] = {};
  const DWORD length = GetTempPathA(sizeof folder, folder);
  if (length == 0) return Value::missing();
  std::string text = folder;
  if (text.ends_with('\\')) text.pop_back();
  return Value::of(std::move(text));
}

inline Value user_directory() {
  const std::string user = environment_variable("USERNAME");
  if (user.empty()) return Value::missing();
  return Value::of(environment_variable("SystemDrive") + "\\Users\\" + user);
}

inline Value local_low() {
  Value folder = special_folder(CSIDL_LOCAL_APPDATA);
  if (folder.kind != Value::Kind::text) return folder;
  const size_t at = folder.text.find("Local");
  if (at == std::string::npos) return Value::leave_as_it_stands();
  return Value::of(folder.text.substr(0, at) + "LocalLow");
}

inline Value machine_value(Placeholder placeholder) {
  const bool is_64_bit = is_64_bit_system();
  switch (placeholder) {
    case Placeholder::time: {
      const std::tm now = local_now();
      return Value::of(padded(now.tm_hour, now.tm_min, now.tm_sec));
    }
    case Placeholder::sys64:
      if (!is_64_bit) return Value::leave_as_it_stands();
      return Value::of(environment_variable("SystemRoot") + "\\sysnative\\");
    case Placeholder::sys32:
      return Value::of(environment_variable("SystemRoot") + (is_64_bit ? "\\SysWOW64\\" : "\\System32\\"));
    case Placeholder::tmp:
      return temporary_directory();
    case Placeholder::clock:
      return Value::of(std::to_string(static_cast<unsigned long>(std::clock())));
    case Placeholder::date: {
      const std::tm now = local_now();
      return Value::of(padded(now.tm_year + 1900, now.tm_mon + 1, now.tm_mday));
    }
    case Placeholder::apptmp:
      return text_or_missing(environment_variable("TEMP"));
    case Placeholder::pf64:
      if (!is_64_bit) return Value::leave_as_it_stands();
      return Value::of(environment_variable("SystemDrive") + "\\Program Files\\");
    case Placeholder::pf32:
      return Value::of(environment_variable("SystemDrive") +
                       (is_64_bit ? "\\Program Files (x86)\\" : "\\Program Files\\"));
    case Placeholder::userdir:
      return user_directory();
    case Placeholder::locallow:
      return local_low();
    case Placeholder::commonappdata:
      return special_folder(CSIDL_COMMON_APPDATA);
  }
  return Value::leave_as_it_stands();
}

inline int expand_on_this_machine(std::string_view text, std::string& result) {
  return expand(text, result, {machine_value, [] { return static_cast<unsigned>(std::rand()); }});
}

}  // namespace velm::path

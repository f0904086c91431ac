// Logging: each call appends one line to a daily file. Logging never fails the caller: on a file error the
// line is lost. Threads do not wait for each other unless Configuration::lock is 1.
#pragma once

#include <windows.h>
#include <direct.h>
#include <io.h>
#include <psapi.h>
#include <sys/stat.h>
#include <sys/timeb.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <cwchar>

#include "basekit/basic/log_links.h"
#include "basekit/basic/log_prefix.h"
#include "basekit/basic/owned_file.h"
#include "basekit/basic/published_once.h"
#include "basekit/basic/windows_path_values.h"
#include "basekit/basic/wow64.h"

namespace velm::log {

// The folders VELM, log and {date}.
constexpr int kFoldersOfTheLog = 3;
constexpr char kFileTemplate[] = "{commonappdata}\\VELM\\log\\{date}\\velm_client_sof.log";
constexpr size_t kMessageCharacters = 4096;  // with the terminating zero

struct Configuration {
  int32_t enabled = 1;  // any value but 1: threshold 2, and each log code contains its field mask
  int32_t threshold = 2;
  uint32_t field_mask = kMaskBeforeLoad;
  int32_t lock = 0;                   // 1: writes are serialised by a lock
  uint32_t size_limit = 0;            // bytes; 0: no rotation
  char file_path[kPathCharacters]{};  // if not empty, used instead of the expanded template
  char module_tag[8]{};
};

inline constinit Configuration configuration;

// Returns false if the template cannot be expanded.
inline bool expand_template(const char* path_template, PathText& path) noexcept {
  try {
    std::string expanded;
    if (path::expand_on_this_machine(path_template, expanded) != path::kOk) return false;
    expanded.copy(path.data(), path.size() - 1);
    return true;
  } catch (...) {
    return false;
  }
}

inline bool expand_file_template(PathText& path) noexcept { return expand_template(kFileTemplate, path); }

// A source unit: the source path that its log lines print, and the log file path. The path is computed once,
// at the unit's first log line.
struct Unit {
  const char* source;
  PublishedOnce<PathText> file{};

  // Returns an empty path if the template cannot be expanded.
  PathText file_path() noexcept {
    if (configuration.file_path[0] == '\0') return file.get(expand_file_template);
    PathText path{};
    std::copy_n(configuration.file_path, path.size(), path.data());
    return path;
  }
};

struct PathParts {
  char drive[_MAX_DRIVE];
  char directory[kPathCharacters];
  char name[kPathCharacters];
  char extension[kPathCharacters];

  explicit PathParts(const char* path) { _splitpath(path, drive, directory, name, extension); }
};

inline bool exists(const char* path) { return _access(path, 0) == 0; }

// Opens a file for appending. Creates the last directory of the path if it is missing.
inline OwnedFile open_for_appending(const char* path) {
  if (OwnedFile file{std::fopen(path, "a+")}) return file;
  const PathParts parts(path);
  char directory[kPathCharacters + _MAX_DRIVE];
  std::snprintf(directory, sizeof directory, "%s%s", parts.drive, parts.directory);
  if (!exists(directory)) _mkdir(directory);
  return OwnedFile{std::fopen(path, "a+")};
}

// Renames a log above the size limit to ..._his and replaces an earlier one.
inline void rotate(const char* path) {
  struct _stat status;
  if (configuration.size_limit == 0 || _stat(path, &status) != 0) return;
  if (static_cast<uint64_t>(status.st_size) <= configuration.size_limit) return;
  const PathParts parts(path);
  char history[4 * kPathCharacters];
  std::snprintf(history, sizeof history, "%s%s%s_his%s", parts.drive, parts.directory, parts.name,
                parts.extension);
  if (exists(history)) std::remove(history);
  std::rename(path, history);
}

inline constinit SRWLOCK write_lock = SRWLOCK_INIT;

class WriteLock {
 public:
  WriteLock() : held_(configuration.lock == 1) {
    if (held_) AcquireSRWLockExclusive(&write_lock);
  }
  ~WriteLock() {
    if (held_) ReleaseSRWLockExclusive(&write_lock);
  }
  WriteLock(const WriteLock&) = delete;
  WriteLock& operator=(const WriteLock&) = delete;

 private:
  bool held_;
};

using NameText = std::array<char, 1024>;

// Stores the process's module name without its extension and sets wow64_state. Returns false if there is no
// name.
inline bool find_process_name(NameText& name) noexcept {
  const OwnedHandle process = open_current_process();
  determine_wow64_state(process.get());
  HMODULE first = nullptr;
  DWORD needed = 0;
  if (!process || !EnumProcessModules(process.get(), &first, sizeof first, &needed)) return false;
  if (GetModuleBaseNameA(process.get(), first, name.data(), static_cast<DWORD>(name.size())) == 0) {
    name[0] = '\0';
    return false;
  }
  if (char* dot = std::strrchr(name.data(), '.')) *dot = '\0';
  return name[0] != '\0';
}

inline constinit PublishedOnce<NameText> process_name;

inline void format_prefix_now(char* area, size_t capacity, uint32_t code, const char* source, int line) {
  const uint32_t mask = mask_for(code, configuration.enabled, configuration.field_mask);
  PrefixValues values;
  struct _timeb now;
  _ftime(&now);
  const std::time_t seconds = now.time;
  if (const std::tm* local = std::localtime(&seconds)) values.local_time = *local;
  values.milliseconds = now.millitm;
  NameText name{};
  if (mask & kProcessName) {
    name = process_name.get(find_process_name);
    values.process_name = name[0] != '\0' ? name.data() : nullptr;
    values.bitness = wow64_state == kWow64 ? 32 : 64;
  }
  values.process_id = GetCurrentProcessId();
  values.thread_id = GetCurrentThreadId();
  values.source_file = source;
  values.source_line = line;
  format_prefix(area, capacity, level_of(code), mask, values);
}

// Opens the file at `path`, calls `put` to write to it, closes it and rotates it if necessary.
template <class Put>
void append_to_log(const PathText& path, Put put) {
  if (path[0] == '\0' || leads_through_link(path, kFoldersOfTheLog)) return;
  {
    const OwnedFile file = open_for_appending(path.data());
    if (!file) return;
    const WriteLock lock;
    put(file.get());
    std::fflush(file.get());  // flush under the lock: the file is closed after the lock is released
  }
  rotate(path.data());
}

inline bool is_kept(uint32_t code) {
  return static_cast<int32_t>(level_of(code)) >=
         threshold_for(configuration.enabled, configuration.threshold);
}

constexpr size_t kPrefixCharacters = 1400;

// Sic: messages are formatted by msvcrt, which prints a pointer as sixteen upper-case digits.
__attribute__((format(ms_printf, 4, 5))) inline void write(Unit& unit, uint32_t code, int line,
                                                           const char* format, ...) noexcept {
  if (!is_kept(code)) return;
  char text[kPrefixCharacters + kMessageCharacters];
  format_prefix_now(text, kPrefixCharacters, code, unit.source, line);
  char* message = text + std::strlen(text);
  va_list arguments;
  va_start(arguments, format);
  _vsnprintf(message, kMessageCharacters, format, arguments);
  va_end(arguments);
  message[kMessageCharacters - 1] = '\0';
  append_to_log(unit.file_path(), [&](std::FILE* file) { std::fputs(text, file); });
}

inline void write_wide(Unit& unit, uint32_t code, int line, const wchar_t* format, ...) noexcept {
  if (!is_kept(code)) return;
  char prefix[kPrefixCharacters];
  format_prefix_now(prefix, kPrefixCharacters, code, unit.source, line);
  wchar_t message[kMessageCharacters];
  va_list arguments;
  va_start(arguments, format);
  _vsnwprintf(message, kMessageCharacters, format, arguments);
  va_end(arguments);
  message[kMessageCharacters - 1] = L'\0';
  append_to_log(unit.file_path(), [&](std::FILE* file) {
    std::fputs(prefix, file);
    std::fputws(message, file);
  });
}

// Logs bytes in hexadecimal, without a prefix, if the threshold is kVerbose.
// Sic: the line begins with "pSetVal", the parameter name of SOF_Config().
inline void dump(const void* block, size_t length) noexcept {
  static constinit Unit unit{""};
  const bool most_verbose = configuration.enabled == 1 && configuration.threshold < 1;
  if (!most_verbose || !block || length == 0) return;
  append_to_log(unit.file_path(), [&](std::FILE* file) {
    std::fputs("pSetVal = ", file);
    const auto* bytes = static_cast<const unsigned char*>(block);
    for (size_t i = 0; i < length; ++i) std::fprintf(file, "%02X ", bytes[i]);
    std::fprintf(file, "[%zu]\n", length);
  });
}

// Does not create it behind a link: `folders` folders above it belong to the log.
inline void create_directory(const char* path_template, int folders) noexcept {
  PathText directory{};
  if (!expand_template(path_template, directory)) return;
  if (!exists(directory.data()) && !leads_through_link(directory, folders)) _mkdir(directory.data());
}

// Creates the parent directories. open_for_appending() creates the dated directory.
inline void create_directories() noexcept {
  create_directory("{commonappdata}\\VELM", 0);
  create_directory("{commonappdata}\\VELM\\log", 1);
}

}  // namespace velm::log

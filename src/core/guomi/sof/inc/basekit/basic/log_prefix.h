// Formats the prefix of a log line: the level tag and the fields selected by a mask. No system calls.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace velm::log {

enum Level : uint32_t { kVerbose = 0, kInformation = 1, kWarning = 2, kError = 3 };

// Log code: bits 0 and 1 are the level. If bit 20 is set, bits 21 and up are the field mask of that line.
constexpr uint32_t level_of(uint32_t code) { return code & 3u; }
constexpr bool carries_mask(uint32_t code) { return (code & (1u << 20)) != 0; }
constexpr uint32_t mask_in(uint32_t code) { return code >> 21; }

enum Field : uint32_t {
  kLevelTag = 1u << 0,
  kDateTime = 1u << 1,
  kDateTimeMilliseconds = 1u << 2,
  kProcessId = 1u << 4,
  kThreadId = 1u << 5,
  kSourceFile = 1u << 6,
  kSourceLine = 1u << 7,
  kTimeMilliseconds = 1u << 8,
  kProcessName = 1u << 10,
};

constexpr uint32_t kMaskBeforeLoad = 195;
constexpr uint32_t kMaskFromLoad = 1269;

// Threshold and field mask of a line. `enabled` is Configuration::enabled.
constexpr int32_t threshold_for(int32_t enabled, int32_t configured) { return enabled == 1 ? configured : 2; }
constexpr uint32_t mask_for(uint32_t code, int32_t enabled, uint32_t configured) {
  return carries_mask(code) || enabled != 1 ? mask_in(code) : configured;
}

struct PrefixValues {
  std::tm local_time{};
  int milliseconds = 0;
  const char* process_name = nullptr;  // null if unknown: the field is omitted
  int bitness = 64;
  uint32_t process_id = 0;
  uint32_t thread_id = 0;
  const char* source_file = "";
  int source_line = 0;
};

// Appends text to a buffer of fixed size and truncates what does not fit.
class PrefixArea {
 public:
  PrefixArea(char* area, size_t capacity) : area_(area), capacity_(capacity) { area_[0] = '\0'; }

  __attribute__((format(printf, 2, 3))) void append(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int written = std::vsnprintf(area_ + used_, capacity_ - used_, format, arguments);
    va_end(arguments);
    const size_t room = capacity_ - used_ - 1;
    if (written > 0) used_ += static_cast<size_t>(written) < room ? static_cast<size_t>(written) : room;
  }

  void append_time(const char* format, const std::tm& time) {
    char text[32];
    if (std::strftime(text, sizeof text, format, &time) != 0) append("|%s", text);
  }

 private:
  char* area_;
  size_t capacity_;
  size_t used_ = 0;
};

inline const char* after_last_backslash(const char* path) {
  const char* last = std::strrchr(path, '\\');
  return last ? last + 1 : path;
}

inline constexpr const char* kLevelTags[] = {"[VER", "[IFO", "[WAR", "[ERR"};

// Writes the prefix of one line, including "] ".
inline void format_prefix(char* area, size_t capacity, uint32_t level, uint32_t mask,
                          const PrefixValues& values) {
  PrefixArea prefix(area, capacity);
  if (mask & kLevelTag) prefix.append("%s", kLevelTags[level & 3u]);
  if (mask & kTimeMilliseconds) {
    prefix.append_time("%H:%M:%S.", values.local_time);
    prefix.append("%03d", values.milliseconds);
  }
  if (mask & kDateTime) prefix.append_time("%Y-%m-%d %H:%M:%S", values.local_time);
  if (mask & kDateTimeMilliseconds) {
    prefix.append_time("%Y-%m-%d %H:%M:%S.", values.local_time);
    prefix.append("%03d", values.milliseconds);
  }
  if ((mask & kProcessName) && values.process_name) {
    prefix.append("|%s|%d", values.process_name, values.bitness);
  }
  if (mask & kProcessId) prefix.append("|%u", values.process_id);
  if (mask & kThreadId) prefix.append("|%u", values.thread_id);
  if (mask & kSourceFile) prefix.append("|%s", after_last_backslash(values.source_file));
  if (mask & kSourceLine) prefix.append("|%d", values.source_line);
  prefix.append("] ");
}

}  // namespace velm::log

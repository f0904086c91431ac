#include "day_log.h"

#include <windows.h>
#include <shlobj.h>

#include <charconv>
#include <cwchar>
#include <ranges>

#include "result_code.h"
#include "velm_sof.hpp"

namespace {

// Fields of a line's prefix, in order.
enum Field { kLevel, kTime, kProcess, kBitness, kProcessId, kThreadId, kFile, kLine, kFields };

uint32_t number_in(const std::string& text, int base = 10) {
  uint32_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number, base);
  return number;
}

}  // namespace

std::filesystem::path log_folder() {
  wchar_t folder[MAX_PATH] = L"";
  SHGetSpecialFolderPathW(nullptr, folder, CSIDL_COMMON_APPDATA, FALSE);
  return std::filesystem::path(folder) / L"VELM" / L"log";
}

std::filesystem::path todays_log() {
  SYSTEMTIME now{};
  GetLocalTime(&now);
  wchar_t date[16];
  std::swprintf(date, std::size(date), L"%d%02d%02d", int{now.wYear}, int{now.wMonth}, int{now.wDay});
  return log_folder() / date / L"velm_client_sof.log";
}

std::filesystem::path marker_path() { return L"c:\\velm_log"; }

LogLine parse_log_line(const std::string& line) {
  LogLine parsed;
  parsed.message = line;
  const size_t end = line.find("] ");
  if (!line.starts_with('[') || end == std::string::npos) return parsed;
  std::vector<std::string> fields;
  for (const auto field : line.substr(1, end - 1) | std::views::split('|')) {
    fields.emplace_back(field.begin(), field.end());
  }
  if (fields.size() != kFields) return parsed;
  return {.level = fields[kLevel],
          .time = fields[kTime],
          .process = fields[kProcess],
          .process_id = number_in(fields[kProcessId]),
          .thread_id = number_in(fields[kThreadId]),
          .message = line.substr(end + 2)};
}

std::vector<std::pair<uint32_t, std::string>> codes_in(std::string_view message) {
  constexpr size_t kDigits = 8;
  std::vector<std::pair<uint32_t, std::string>> codes;
  for (size_t at = 0; (at = message.find("0x", at)) != std::string_view::npos;) {
    at += 2;
    const std::string digits(message.substr(at, kDigits));
    const uint32_t code =
        digits.find_first_not_of("0123456789ABCDEF") == std::string::npos ? number_in(digits, 16) : 0;
    if (digits.size() < kDigits || code == SOR_OK) continue;
    if (const std::string text = meaning_of(code); !text.empty()) codes.emplace_back(code, text);
  }
  return codes;
}

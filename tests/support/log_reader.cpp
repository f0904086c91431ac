#include "support/log_reader.h"

#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>

namespace velm::test {
namespace {

constexpr wchar_t kFileName[] = L"velm_client_sof.log";

LogEntry parse(const std::string& line) {
  static const std::regex layout(R"(\[(VER|IFO|WAR|ERR)\|(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}))"
                                 R"(\|([^|]*)\|(32|64)\|(\d+)\|(\d+)\|([^|]*)\|(\d+))");
  static const std::map<std::string, Level> levels = {{"VER", Level::kVerbose},
                                                      {"IFO", Level::kInformation},
                                                      {"WAR", Level::kWarning},
                                                      {"ERR", Level::kError}};
  LogEntry entry;
  entry.raw = entry.message = line;
  const size_t fields_end = std::min(line.find("] "), line.size());
  const std::string fields = line.substr(0, fields_end);
  std::smatch field;
  if (!std::regex_match(fields, field, layout)) return entry;
  const auto number = [&](size_t index) { return static_cast<uint32_t>(std::stoul(field[index])); };
  entry.level = levels.at(field[1]);
  entry.time = field[2];
  entry.process = field[3];
  entry.bitness = static_cast<int>(number(4));
  entry.process_id = number(5);
  entry.thread_id = number(6);
  entry.source = field[7];
  entry.line = static_cast<int>(number(8));
  entry.message = line.substr(std::min(fields_end + 2, line.size()));
  return entry;
}

}  // namespace

std::wstring LogReader::folder() {
  wchar_t common[MAX_PATH] = L"";
  SHGetSpecialFolderPathW(nullptr, common, CSIDL_COMMON_APPDATA, FALSE);
  return std::wstring(common) + L"\\VELM\\log";
}

std::vector<std::wstring> LogReader::files() {
  std::vector<std::wstring> paths;
  std::error_code missing;
  for (const auto& day : std::filesystem::directory_iterator(folder(), missing)) {
    const std::filesystem::path file = day.path() / kFileName;
    if (std::filesystem::exists(file)) paths.push_back(file.wstring());
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::vector<std::string> LogReader::lines() {
  std::vector<std::string> lines;
  for (const std::wstring& path : files()) {
    std::ifstream file{std::filesystem::path(path), std::ios::binary};
    for (std::string line; std::getline(file, line); lines.push_back(line)) {
      if (line.ends_with('\r')) line.pop_back();
    }
  }
  return lines;
}

std::vector<LogEntry> LogReader::entries() {
  std::vector<LogEntry> entries;
  for (const std::string& line : lines()) entries.push_back(parse(line));
  return entries;
}

std::vector<std::string> LogReader::messages() {
  std::vector<std::string> texts;
  for (const LogEntry& entry : entries()) texts.push_back(entry.message);
  return texts;
}

std::vector<std::string> LogReader::messages(Level level) {
  std::vector<std::string> texts;
  for (const LogEntry& entry : entries()) {
    if (entry.level == level) texts.push_back(entry.message);
  }
  return texts;
}

void LogReader::clear() {
  std::error_code missing;
  for (const auto& day : std::filesystem::directory_iterator(folder(), missing)) {
    std::filesystem::remove_all(day.path(), missing);
  }
}

}  // namespace velm::test

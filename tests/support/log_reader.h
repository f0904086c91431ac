// Reads the library's log: the files {common application data}\VELM\log\{date}\velm_client_sof.log of all
// days, concatenated, so that a test may run past midnight.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace velm::test {

// kNone: a line without the prefix of a log line, such as a hex dump or the second line of a message.
enum class Level { kVerbose, kInformation, kWarning, kError, kNone };

// One line. The fields are those of the default log mask: level, time, process, ids, source.
struct LogEntry {
  Level level = Level::kNone;
  std::string time;  // "2024-05-06 10:11:12.345"
  std::string process;
  int bitness = 0;
  uint32_t process_id = 0;
  uint32_t thread_id = 0;
  std::string source;
  int line = 0;
  std::string message;  // without the line end
  std::string raw;
};

class LogReader {
 public:
  // Lines without line ends.
  static std::vector<std::string> lines();
  static std::vector<LogEntry> entries();
  static std::vector<std::string> messages();
  static std::vector<std::string> messages(Level level);
  static std::vector<std::string> errors() { return messages(Level::kError); }

  // The log files, oldest day first.
  static std::vector<std::wstring> files();
  static std::wstring folder();

  // Removes the log files and their dated folders.
  static void clear();
};

}  // namespace velm::test

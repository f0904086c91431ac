// What the library has logged: the files {common application data}\VELM\log\{date}\velm_client_sof.log of all
// days, as one, so that a test that runs past midnight sees its lines.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace velm::test {

// kNone: a line that does not open like a log line, such as a hex dump or the second line of a message.
enum class Level { kVerbose, kInformation, kWarning, kError, kNone };

// One line. The fields are those of the mask that holds from load on: level, time, process, ids, source.
struct LogEntry {
  Level level = Level::kNone;
  std::string time;  // "2024-05-06 10:11:12.345"
  std::string process;
  int bitness = 0;
  uint32_t process_id = 0;
  uint32_t thread_id = 0;
  std::string source;
  int line = 0;
  std::string message;  // without its line end
  std::string raw;
};

class LogReader {
 public:
  // Lines without their ends.
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

#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/** Location and line format of the library's log. */

/** The folder that contains one folder per day. */
std::filesystem::path log_folder();
/** Today's log file, in local time. */
std::filesystem::path todays_log();

/** While this path exists, processes that load the library log every call. */
std::filesystem::path marker_path();

/** A line of the log. A line without a prefix, such as a dump, is stored in `message`. */
struct LogLine {
  /** VER, IFO, WAR or ERR; empty without a prefix. */
  std::string level;
  std::string time;
  std::string process;
  uint32_t process_id = 0;
  uint32_t thread_id = 0;
  std::string message;
};

/** @param line UTF-8, without the line ending. */
LogLine parse_log_line(const std::string& line);

/** Returns the result codes in a message with their texts. Codes without a text are omitted. */
std::vector<std::pair<uint32_t, std::string>> codes_in(std::string_view message);

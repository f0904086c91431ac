#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/** Where the library's log lies, and how its lines read. */

/** The folder that holds a folder for each day. */
std::filesystem::path log_folder();
/** Today's log file, by local time. */
std::filesystem::path todays_log();

/** While this path exists, processes that load the library log every call. */
std::filesystem::path marker_path();

/** A line of the log; a line without a prefix, such as a dump, is all message. */
struct LogLine {
  /** VER, IFO, WAR or ERR; empty without a prefix. */
  std::string level;
  std::string time;
  std::string process;
  uint32_t process_id = 0;
  uint32_t thread_id = 0;
  std::string message;
};

/** @param line In UTF-8, without its line end. */
LogLine parse_log_line(const std::string& line);

/** The result codes that a message names, each with its text; codes without a text are left out. */
std::vector<std::pair<uint32_t, std::string>> codes_in(std::string_view message);

// Prints or follows today's log, and switches verbose logging.
#include <windows.h>

#include <fstream>

#include "command.h"
#include "commands.h"
#include "day_log.h"
#include "input_output.h"
#include "result_code.h"
#include "text.h"

namespace {

const char* color_of(const std::string& level) {
  if (level == "ERR") return "\x1B[31m";
  if (level == "WAR") return "\x1B[33m";
  if (level == "IFO") return "\x1B[36m";
  return "\x1B[90m";
}

// Without the library, no texts of codes are available.
std::vector<std::pair<uint32_t, std::string>> codes_of(const LogLine& line) {
  uint32_t error = 0;
  static const bool loaded = load_library(error);
  return loaded ? codes_in(line.message) : decltype(codes_in(line.message)){};
}

Json json_of(const LogLine& line) {
  Json object{{"level", line.level},           {"time", line.time},           {"process", line.process},
              {"process_id", line.process_id}, {"thread_id", line.thread_id}, {"message", line.message}};
  Json codes = Json::object();
  for (const auto& [code, text] : codes_of(line)) codes[code_text(code)] = text;
  if (!codes.empty()) object["codes"] = codes;
  return object;
}

std::string text_of_line(const std::string& line, bool colored) {
  const LogLine parsed = parse_log_line(line);
  std::string text = line;
  if (colored && !parsed.level.empty()) text = color_of(parsed.level) + text + "\x1B[0m";
  for (const auto& [code, meaning] : codes_of(parsed)) {
    text += "  (" + code_text(code) + " " + meaning + ")";
  }
  return text + "\n";
}

/**
 * Returns the lines appended since the previous call. Only complete lines are returned. Each day has its own
 * file.
 */
class LogReader {
 public:
  std::vector<std::string> new_lines() {
    std::vector<std::string> lines;
    const std::filesystem::path today = todays_log();
    if (path_ != today) {
      // Lines written between the previous call and midnight.
      if (!path_.empty()) read_on(lines);
      path_ = today;
      position_ = 0;
    }
    read_on(lines);
    return lines;
  }
  const std::filesystem::path& path() const { return path_; }

 private:
  void read_on(std::vector<std::string>& lines) {
    std::ifstream file(path_, std::ios::binary);
    file.seekg(position_);
    for (std::string line; std::getline(file, line) && !file.eof();) {
      position_ += static_cast<std::streamoff>(line.size()) + 1;
      if (line.ends_with('\r')) line.pop_back();
      lines.push_back(printable(readable(line)));
    }
  }

  std::filesystem::path path_;
  std::streamoff position_ = 0;
};

struct Log {
  bool follow = false;
  std::string verbose;
  std::string color = "auto";

  void add_options(CLI::App& command) {
    CLI::Option* follow_flag =
        command.add_flag("--follow", follow, "continue as the log grows, until Ctrl+C");
    command
        .add_option("--verbose", verbose, "on or off: whether programs that start from now on log every call")
        ->check(CLI::IsMember({"on", "off"}))
        ->excludes(follow_flag);
    command.add_option("--color", color, "auto (on a console), always or never")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->capture_default_str();
  }
  Report run(bool as_json) const {
    if (!verbose.empty()) return set_verbose();
    LogReader reader;
    const std::vector<std::string> lines = reader.new_lines();
    if (!follow) return report_of(reader.path(), lines);
    print(lines, as_json);
    for (;;) {
      Sleep(300);
      print(reader.new_lines(), as_json);
    }
  }

 private:
  bool is_colored() const { return color == "always" || (color == "auto" && is_console(Stream::output)); }

  void print(const std::vector<std::string>& lines, bool as_json) const {
    for (const std::string& line : lines) {
      write_standard_output(as_json ? json_line(json_of(parse_log_line(line)))
                                    : text_of_line(line, is_colored()));
    }
  }

  Report report_of(const std::filesystem::path& path, const std::vector<std::string>& lines) const {
    Json rows = Json::array();
    std::string text;
    for (const std::string& line : lines) {
      rows.push_back(json_of(parse_log_line(line)));
      text += text_of_line(line, is_colored());
    }
    if (lines.empty()) write_standard_error("sof: nothing was logged today in " + text_of_path(path) + "\n");
    return Report{{"path", text_of_path(path)}, {"lines", rows}}.say(text);
  }

  // A folder, not a file: ordinary users can create only a folder there.
  Report set_verbose() const {
    namespace fs = std::filesystem;
    const fs::path marker = marker_path();
    std::error_code error;
    if (verbose == "off") {
      fs::remove(marker, error);
    } else if (!fs::exists(marker)) {
      fs::create_directory(marker, error);
    }
    if (error)
      throw file_failure(text_of_path(marker),
                         "cannot be " + std::string(verbose == "on" ? "created" : "removed"));
    return Report{{"verbose", verbose == "on"}, {"marker", text_of_path(marker)}}.say(
        "verbose logging is " + verbose + " for programs that start from now on\n");
  }
};

}  // namespace

void add_log_command(CLI::App& program) {
  add_command<Log>(program, "log", "show today's log", Needs::nothing);
}

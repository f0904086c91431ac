#pragma once

#include <optional>
#include <string>

#include <CLI/App.hpp>

#include "bytes.h"
#include "failure.h"

/** Where a command's data goes, and in what form. */
struct DataOutput {
  std::string path = "-";
  bool base64 = false;

  void add_options(CLI::App& command);
};

enum class DataForm {
  binary,
  /** Shown as text, with a line end after it; a file holds the very bytes. */
  text,
  /** Shown in hexadecimal unless it goes into a file. */
  hexadecimal,
};

/** What a command found out: named values in their order, and data that goes to a file or standard output. */
class Report {
 public:
  Report() = default;
  Report(std::initializer_list<std::pair<const char*, Json>> values) {
    for (const auto& [name, value] : values) values_[name] = value;
  }

  Report& add(const std::string& name, Json value);
  Report& deliver(Bytes data, const DataOutput& output, DataForm form = DataForm::binary);
  /** What is printed for people in place of the values. */
  Report& say(std::string text);
  Report& end_with(ExitStatus status);

  /** Writes the data, and the values to standard output as text or as one JSON object. */
  void present(bool as_json) const;
  ExitStatus status() const { return status_; }

 private:
  struct Data {
    Bytes bytes;
    DataOutput output;
    DataForm form;
  };

  Json written_values() const;
  void write_data_to_standard_output() const;

  Json values_ = Json::object();
  std::optional<Data> data_;
  std::optional<std::string> text_;
  ExitStatus status_ = ExitStatus::done;
};

/**
 * A UTF-8 text with a question mark for every control character: what certificates, devices and logs hold may
 * come from anywhere, and must neither forge lines nor steer the console.
 * @param kept Characters that stay all the same.
 */
std::string printable(std::string text, std::string_view kept = "");
/** A line for each text. */
std::string lines_text(const std::vector<std::string>& texts);
/** One JSON object as a line, whatever bytes its texts hold. */
std::string json_line(const Json& object);
/** Rows as columns of text under their members' names. */
std::string table_text(const Json& rows);

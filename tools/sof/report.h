#pragma once

#include <optional>
#include <string>

#include <CLI/App.hpp>

#include "bytes.h"
#include "failure.h"

/** Destination and encoding of a command's data. */
struct DataOutput {
  std::string path = "-";
  bool base64 = false;

  void add_options(CLI::App& command);
};

enum class DataForm {
  binary,
  /** Printed as text with a line ending; written to a file unchanged. */
  text,
  /** Printed in hexadecimal; written to a file unchanged. */
  hexadecimal,
};

/** Result of a command: named values in order, and data for a file or standard output. */
class Report {
 public:
  Report() = default;
  Report(std::initializer_list<std::pair<const char*, Json>> values) {
    for (const auto& [name, value] : values) values_[name] = value;
  }

  Report& add(const std::string& name, Json value);
  Report& deliver(Bytes data, const DataOutput& output, DataForm form = DataForm::binary);
  /** Text to print instead of the values. */
  Report& say(std::string text);
  Report& end_with(ExitStatus status);

  /** Writes the data, and the values to standard output as text or as a JSON object. */
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
 * Replaces control characters in UTF-8 text by question marks. Text in certificates, devices and logs is
 * untrusted and must neither forge lines nor control the console.
 * @param kept Characters that are not replaced.
 */
std::string printable(std::string text, std::string_view kept = "");
/** One line for each text. */
std::string lines_text(const std::vector<std::string>& texts);
/** A JSON object on one line. Invalid UTF-8 in its strings is accepted. */
std::string json_line(const Json& object);
/** Formats rows as text columns with their member names as headings. */
std::string table_text(const Json& rows);

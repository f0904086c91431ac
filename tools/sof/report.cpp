#include "report.h"

#include <algorithm>
#include <map>

#include "input_output.h"
#include "text.h"

namespace {

std::string value_text(const Json& value) {
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  return value.is_string() ? printable(value.get<std::string>()) : value.dump();
}

std::string without_line_end(std::string text) {
  if (text.ends_with('\n')) text.pop_back();
  return text;
}

std::string title_of(std::string name) {
  std::ranges::replace(name, '_', ' ');
  return name;
}

// Display width: wide characters such as Chinese ones occupy two columns.
size_t width_of(const std::string& text) {
  size_t width = 0;
  for (const wchar_t character : wide_of(text)) width += character >= 0x1100 ? 2 : 1;
  return width;
}

std::string padded(const std::string& text, size_t width) {
  return text + std::string(width - std::min(width, width_of(text)), ' ');
}

std::string member_text(const std::string& name, const Json& value) {
  const std::string title = title_of(name);
  if (!value.is_array()) return title + ": " + value_text(value) + "\n";
  if (!value.empty() && value[0].is_object()) return title + ":\n" + table_text(value);
  std::string text = title + ":\n";
  for (const Json& element : value) text += "  " + value_text(element) + "\n";
  return text;
}

}  // namespace

void DataOutput::add_options(CLI::App& command) {
  command.add_option("-o,--out", path, "file to write; - is standard output")->capture_default_str();
  command.add_flag("--base64", base64, "write base64 text instead of bytes");
}

Report& Report::add(const std::string& name, Json value) {
  values_[name] = std::move(value);
  return *this;
}

Report& Report::deliver(Bytes data, const DataOutput& output, DataForm form) {
  data_ = Data{std::move(data), output, form};
  return *this;
}

Report& Report::say(std::string text) {
  text_ = std::move(text);
  return *this;
}

Report& Report::end_with(ExitStatus status) {
  status_ = status;
  return *this;
}

Json Report::written_values() const {
  Json values = values_;
  if (!data_) return values;
  const auto& [bytes, output, form] = *data_;
  values["size"] = bytes.size();
  if (output.path != "-") {
    values["out"] = output.path;
  } else if (form == DataForm::text) {
    values["text"] = without_line_end(readable(text_of(bytes)));
  } else if (form == DataForm::hexadecimal) {
    values["hex"] = hex_of(bytes);
  } else {
    values["data"] = sof::base64_encode(bytes);
  }
  return values;
}

// Binary data is printed to a console as base64.
void Report::write_data_to_standard_output() const {
  const auto& [bytes, output, form] = *data_;
  if (output.base64 || (form == DataForm::binary && is_console(Stream::output))) {
    write_standard_output(sof::base64_encode(bytes) + "\n");
  } else if (form == DataForm::hexadecimal) {
    write_standard_output(hex_of(bytes) + "\n");
  } else if (form == DataForm::text) {
    const std::string text = readable(text_of(bytes));
    write_standard_output(without_line_end(is_console(Stream::output) ? printable(text, "\n") : text) + "\n");
  } else {
    write_all("-", bytes);
  }
}

void Report::present(bool as_json) const {
  if (data_ && data_->output.path != "-") {
    const auto& [bytes, output, form] = *data_;
    write_all(output.path, output.base64 ? bytes_of(sof::base64_encode(bytes) + "\n") : bytes);
  }
  if (as_json) {
    Json object{{"ok", status_ == ExitStatus::done}};
    object.update(written_values());
    return write_standard_output(json_line(object));
  }
  if (data_ && data_->output.path == "-") return write_data_to_standard_output();
  std::string text = text_.value_or("");
  if (!text_) {
    const Json values = written_values();
    for (const auto& [name, value] : values.items()) text += member_text(name, value);
  }
  write_standard_output(text);
}

std::string printable(std::string text, std::string_view kept) {
  for (char& character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if ((byte < 0x20 || byte == 0x7F) && kept.find(character) == std::string_view::npos) character = '?';
  }
  // U+0080 to U+009F are control characters too.
  for (size_t at = 0; (at = text.find('\xC2', at)) != std::string::npos; ++at) {
    if (at + 1 < text.size() && static_cast<unsigned char>(text[at + 1]) < 0xA0) text.replace(at, 2, "?");
  }
  return text;
}

std::string lines_text(const std::vector<std::string>& texts) {
  std::string lines;
  for (const std::string& text : texts) lines += printable(text) + "\n";
  return lines;
}

std::string json_line(const Json& object) {
  return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string table_text(const Json& rows) {
  std::map<std::string, size_t> widths;
  for (const Json& row : rows) {
    for (const auto& [name, value] : row.items()) {
      size_t& width = widths.try_emplace(name, width_of(title_of(name))).first->second;
      width = std::max(width, width_of(value_text(value)));
    }
  }
  if (rows.empty()) return {};
  const auto line = [&](auto cell) {
    std::string text = " ";
    for (const auto& [name, value] : rows[0].items()) text += " " + padded(cell(name), widths.at(name)) + " ";
    return text.substr(0, text.find_last_not_of(' ') + 1) + "\n";
  };
  std::string text = line([](const std::string& name) { return title_of(name); });
  for (const Json& row : rows)
    text += line([&](const std::string& name) { return value_text(row.at(name)); });
  return text;
}

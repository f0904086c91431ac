#include "pin.h"

#include <windows.h>

#include <array>

#include "console.h"
#include "failure.h"
#include "input_output.h"

namespace {

/** A line typed into the console; zeroed in the destructor. */
struct TypedLine {
  std::array<wchar_t, 256> text{};
  DWORD length = 0;

  ~TypedLine() { SecureZeroMemory(text.data(), sizeof text); }
};

/** Collects a line character by character. */
class LineReader {
 public:
  explicit LineReader(const std::string& name) : name_(name) {}

  // Returns whether the line continues after this character.
  bool add(char character) {
    if (character == '\n') return false;
    if (character == '\r') return true;
    if (line_.size() == sof::Pin::kLongest) throw usage_failure(name_ + " is too long");
    line_.append(character);
    return true;
  }
  const sof::Pin& line() const {
    if (line_.size() == 0) throw usage_failure(name_ + " is empty");
    return line_;
  }

 private:
  const std::string& name_;
  sof::Pin line_;
};

void read_typed(LineReader& reader) {
  const NoEcho no_echo;
  TypedLine typed;
  const auto size = static_cast<DWORD>(typed.text.size());
  if (!ReadConsoleW(GetStdHandle(STD_INPUT_HANDLE), typed.text.data(), size, &typed.length, nullptr)) return;
  for (DWORD i = 0; i < typed.length; ++i) {
    if (typed.text[i] >= 0x80) throw usage_failure("the PIN must consist of ASCII characters");
    if (!reader.add(static_cast<char>(typed.text[i]))) return;
  }
}

// Reads single bytes, so that the lines that follow remain unread.
void read_piped(LineReader& reader) {
  for (char byte = 0; read_standard_input(&byte, 1) == 1 && reader.add(byte);) {
  }
}

}  // namespace

void PinSource::add_options(CLI::App& command) {
  command.add_flag("--pin-stdin", from_standard_input_,
                   "read the PIN from standard input even if it is a console");
}

sof::Pin PinSource::ask(const std::string& name) {
  LineReader reader(name);
  if (is_console(Stream::input) && !from_standard_input_) {
    write_standard_error(name + ": ");
    read_typed(reader);
  } else {
    if (!taken_) take_standard_input("the PIN");
    taken_ = true;
    read_piped(reader);
  }
  return reader.line();
}

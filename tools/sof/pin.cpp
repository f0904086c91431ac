#include "pin.h"

#include <windows.h>

#include <algorithm>
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
    if (character != '\r' && !line_.append(character)) throw usage_failure(name_ + " is too long");
    return true;
  }
  Secret line() {
    if (line_.size() == 0)
      throw usage_failure(name_ + " is missing: it is empty, or standard input has ended");
    return std::move(line_);
  }

 private:
  const std::string& name_;
  Secret line_;
};

void read_typed(LineReader& reader) {
  const NoEcho no_echo;
  TypedLine typed;
  const auto size = static_cast<DWORD>(typed.text.size());
  if (!ReadConsoleW(GetStdHandle(STD_INPUT_HANDLE), typed.text.data(), size, &typed.length, nullptr)) return;
  for (DWORD i = 0; i < typed.length; ++i) {
    if (typed.text[i] >= 0x80) throw usage_failure("a PIN is typed in ASCII characters");
    if (!reader.add(static_cast<char>(typed.text[i]))) return;
  }
}

// Reads single bytes, so that the lines that follow remain unread.
void read_piped(LineReader& reader) {
  for (char byte = 0; read_standard_input(&byte, 1) == 1 && reader.add(byte);) {
  }
}

}  // namespace

Secret::~Secret() { SecureZeroMemory(text_.data(), text_.size()); }

Secret::Secret(Secret&& other) noexcept : text_(other.text_), size_(other.size_) {
  SecureZeroMemory(other.text_.data(), other.text_.size());
  other.size_ = 0;
}

bool Secret::operator==(const Secret& other) const {
  return size_ == other.size_ && std::equal(text_.begin(), text_.end(), other.text_.begin());
}

bool Secret::append(char byte) {
  if (size_ + 1 >= text_.size()) return false;
  text_[size_++] = byte;
  return true;
}

void PinSource::add_options(CLI::App& command) {
  command.add_flag("--pin-stdin", from_standard_input_,
                   "read the PIN from standard input even if that is a console");
}

Secret PinSource::ask(const std::string& name) {
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

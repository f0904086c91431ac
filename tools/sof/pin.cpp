#include "pin.h"

#include <windows.h>

#include <algorithm>

#include "failure.h"
#include "input_output.h"

namespace {

// What is typed is not shown while this lives.
class NoEcho {
 public:
  NoEcho() : input_(GetStdHandle(STD_INPUT_HANDLE)) {
    GetConsoleMode(input_, &mode_);
    SetConsoleMode(input_, (mode_ | ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT) & ~DWORD{ENABLE_ECHO_INPUT});
  }
  ~NoEcho() {
    SetConsoleMode(input_, mode_);
    write_standard_error("\n");
  }
  NoEcho(const NoEcho&) = delete;
  NoEcho& operator=(const NoEcho&) = delete;

 private:
  HANDLE input_;
  DWORD mode_ = 0;
};

bool read_typed(char& byte) {
  wchar_t character = 0;
  DWORD count = 0;
  if (!ReadConsoleW(GetStdHandle(STD_INPUT_HANDLE), &character, 1, &count, nullptr) || count == 0)
    return false;
  byte = character < 0x80 ? static_cast<char>(character) : '\x7F';
  return true;
}

bool read_piped(char& byte) {
  const Bytes next = read_standard_input(1);
  if (next.empty()) return false;
  byte = static_cast<char>(next[0]);
  return true;
}

// One line without its end. Byte by byte, so that no buffer keeps a copy of what follows or went before.
template <class ReadByte>
Secret read_line(const std::string& name, ReadByte read_byte) {
  Secret line;
  for (char byte = 0; read_byte(byte) && byte != '\n';) {
    if (byte != '\r' && !line.append(byte)) throw usage_failure(name + " is too long");
  }
  if (line.size() == 0) throw usage_failure(name + " is missing: it is empty, or standard input has ended");
  return line;
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
  if (is_console(Stream::input) && !from_standard_input_) {
    write_standard_error(name + ": ");
    const NoEcho no_echo;
    return read_line(name, read_typed);
  }
  if (!taken_) take_standard_input("the PIN");
  taken_ = true;
  return read_line(name, read_piped);
}

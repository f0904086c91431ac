#include "input_output.h"

#include <windows.h>

#include <cstdio>
#include <fstream>

#include "failure.h"
#include "text.h"

namespace {

HANDLE handle_of(Stream stream) {
  constexpr DWORD kHandles[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
  return GetStdHandle(kHandles[static_cast<int>(stream)]);
}

constexpr size_t kPiece = 1 << 16;

// Calls `read`, which fills a buffer and returns the count, until it returns 0. Returns all bytes read.
template <class Read>
Bytes all_pieces(Read read) {
  Bytes content;
  size_t size = 0;
  size_t count = 0;
  do {
    content.resize(size + kPiece);
    count = read(content.data() + size);
    size += count;
  } while (count > 0);
  content.resize(size);
  return content;
}

bool write_handle(HANDLE handle, const char* data, size_t size) {
  while (size > 0) {
    DWORD written = 0;
    const auto piece = static_cast<DWORD>(std::min<size_t>(size, 1 << 20));
    if (!WriteFile(handle, data, piece, &written, nullptr) || written == 0) return false;
    data += written;
    size -= written;
  }
  return true;
}

}  // namespace

std::filesystem::path path_of(const std::string& utf8) { return wide_of(utf8); }

std::string text_of_path(const std::filesystem::path& path) { return utf8_of(path.wstring()); }

bool is_console(Stream stream) {
  DWORD mode = 0;
  return GetConsoleMode(handle_of(stream), &mode) != FALSE;
}

void take_standard_input(const std::string& what) {
  static std::string taken_for;
  if (is_console(Stream::input)) return;
  if (!taken_for.empty()) {
    throw usage_failure("standard input cannot carry both " + taken_for + " and " + what +
                        "; name a file for one of them");
  }
  taken_for = what;
}

size_t read_standard_input(void* bytes, size_t at_most) {
  DWORD count = 0;
  if (ReadFile(handle_of(Stream::input), bytes, static_cast<DWORD>(at_most), &count, nullptr)) return count;
  if (GetLastError() != ERROR_BROKEN_PIPE) throw file_failure("standard input", "cannot be read");
  return 0;
}

Bytes read_all(const std::string& name, const std::string& what) {
  Bytes content;
  if (name == "-") {
    take_standard_input(what);
    content = all_pieces([](uint8_t* piece) { return read_standard_input(piece, kPiece); });
  } else {
    std::ifstream file(path_of(name), std::ios::binary);
    if (!file) throw file_failure(name, "cannot be opened for reading");
    content = all_pieces([&](uint8_t* piece) {
      return static_cast<size_t>(file.read(reinterpret_cast<char*>(piece), kPiece).gcount());
    });
    if (file.bad()) throw file_failure(name, "cannot be read");
  }
  if (content.size() > UINT32_MAX) throw file_failure(name, "is larger than 4 GiB, the limit of the library");
  return content;
}

void write_all(const std::string& name, const Bytes& content) {
  const std::string_view text(reinterpret_cast<const char*>(content.data()), content.size());
  if (name == "-") return write_standard_output(text);
  std::ofstream file(path_of(name), std::ios::binary);
  if (!file) throw file_failure(name, "cannot be opened for writing");
  file << text;
  file.close();
  if (!file) throw file_failure(name, "cannot be written");
}

void write_standard_output(std::string_view text) {
  if (!write_handle(handle_of(Stream::output), text.data(), text.size())) {
    throw file_failure("standard output", "cannot be written");
  }
}

void write_standard_error(std::string_view text) {
  write_handle(handle_of(Stream::error), text.data(), text.size());
}

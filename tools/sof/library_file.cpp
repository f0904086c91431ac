#include "library_file.h"

#include <windows.h>

#include "failure.h"
#include "input_output.h"
#include "text.h"

namespace {

namespace fs = std::filesystem;

std::wstring short_name(const std::wstring& path) {
  std::wstring name(32768, L'\0');
  name.resize(GetShortPathNameW(path.c_str(), name.data(), static_cast<DWORD>(name.size())));
  return name;
}

// A name for a file or folder that exists. ASCII names come first: they mean the same in every encoding.
std::string library_name(const fs::path& path) {
  const std::wstring wide = path.wstring();
  if (is_ascii(wide)) return utf8_of(wide);
  const std::wstring shorter = short_name(wide);
  if (!shorter.empty() && is_ascii(shorter)) return utf8_of(shorter);
  std::string local = in_code_page(wide);
  if (local.empty() || GetACP() == CP_UTF8) {
    throw file_failure(text_of_path(path),
                       "the library cannot be given this name; use one of ASCII characters");
  }
  return local;
}

std::wstring temporary_name(const wchar_t* purpose) {
  return L"sof-" + std::to_wstring(GetCurrentProcessId()) + purpose;
}

void remove_quietly(const fs::path& path) {
  std::error_code ignored;
  if (!path.empty()) fs::remove(path, ignored);
}

}  // namespace

InputFile::InputFile(const std::string& name, const std::string& what) {
  fs::path path = path_of(name);
  if (name == "-") {
    const Bytes content = read_all(name, what);
    path = spool_ = fs::temp_directory_path() / temporary_name(L".in");
    write_all(text_of_path(spool_), content);
  }
  std::error_code error;
  size_ = fs::file_size(path, error);
  if (error) throw file_failure(name, "cannot be opened for reading");
  library_name_ = library_name(path);
}

InputFile::~InputFile() { remove_quietly(spool_); }

OutputFile::OutputFile(const std::string& name) {
  fs::path folder = fs::temp_directory_path();
  if (name != "-") {
    target_ = fs::absolute(path_of(name));
    folder = target_.parent_path();
    if (!fs::is_directory(folder)) throw file_failure(name, "cannot be written: there is no such folder");
    if (fs::is_directory(target_)) throw file_failure(name, "cannot be written: it is a folder");
  }
  temporary_ = fs::path(library_name(folder)) / temporary_name(L".out");
  library_name_ = temporary_.string();
}

OutputFile::~OutputFile() { remove_quietly(temporary_); }

void OutputFile::commit() {
  if (is_standard_output()) return;
  if (!MoveFileExW(temporary_.c_str(), target_.c_str(), MOVEFILE_REPLACE_EXISTING)) {
    throw file_failure(text_of_path(target_), "cannot be written");
  }
  temporary_.clear();
}

Bytes OutputFile::content() const { return read_all(text_of_path(temporary_), "the output"); }

uint64_t OutputFile::size() const { return fs::file_size(temporary_); }

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

// Library name of an existing file or folder. ASCII names are preferred: they are the same in every code
// page.
std::string library_name(const fs::path& path) {
  const std::wstring wide = path.wstring();
  if (is_ascii(wide)) return utf8_of(wide);
  const std::wstring shorter = short_name(wide);
  if (!shorter.empty() && is_ascii(shorter)) return utf8_of(shorter);
  std::string local = in_code_page(wide);
  if (local.empty() || GetACP() == CP_UTF8) {
    throw file_failure(text_of_path(path),
                       "cannot be passed to the library; rename it with ASCII characters");
  }
  return local;
}

}  // namespace

InputFile::InputFile(const std::string& name, const std::string& what) {
  fs::path path = path_of(name);
  if (name == "-") {
    const Bytes content = read_all(name, what);
    path = spool_.emplace(fs::temp_directory_path(), L".in").path();
    write_all(text_of_path(path), content);
  }
  std::error_code error;
  size_ = fs::file_size(path, error);
  if (error) throw file_failure(name, "cannot be opened for reading");
  library_name_ = library_name(path);
}

OutputFile::OutputFile(const std::string& name) {
  fs::path folder = fs::temp_directory_path();
  if (name != "-") {
    target_ = fs::absolute(path_of(name));
    folder = target_.parent_path();
    if (!fs::is_directory(folder)) throw file_failure(name, "cannot be written: there is no such folder");
    if (fs::is_directory(target_)) throw file_failure(name, "cannot be written: it is a folder");
  }
  library_name_ = temporary_.emplace(library_name(folder), L".out").path().string();
}

void OutputFile::commit() {
  if (is_standard_output()) return;
  if (!MoveFileExW(temporary_->path().c_str(), target_.c_str(), MOVEFILE_REPLACE_EXISTING)) {
    throw file_failure(text_of_path(target_), "cannot be written");
  }
}

Bytes OutputFile::content() const { return read_all(text_of_path(temporary_->path()), "the output"); }

void OutputFile::replace(const Bytes& content) { write_all(text_of_path(temporary_->path()), content); }

uint64_t OutputFile::size() const { return fs::file_size(temporary_->path()); }

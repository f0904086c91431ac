#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "bytes.h"
#include "temporary_file.h"

/**
 * Files as the library's calls take them: by a name in the process's code page. Names that it cannot express
 * go by their short form; standard input and output go through temporary files.
 */

class InputFile {
 public:
  /** @param what What it holds, as a message names it. */
  InputFile(const std::string& name, const std::string& what);

  const char* name() const { return library_name_.c_str(); }
  /** In bytes. */
  uint64_t size() const { return size_; }

 private:
  std::optional<TemporaryFile> spool_;
  std::string library_name_;
  uint64_t size_ = 0;
};

/** A file that appears under its own name only when it is complete. */
class OutputFile {
 public:
  explicit OutputFile(const std::string& name);

  const char* name() const { return library_name_.c_str(); }
  /** Moves the file to its place; with standard output there is none, and content() is what the file holds.
   */
  void commit();
  bool is_standard_output() const { return target_.empty(); }
  Bytes content() const;
  /** Puts something else in place of what the call wrote. */
  void replace(const Bytes& content);
  /** In bytes. */
  uint64_t size() const;

 private:
  std::filesystem::path target_;
  std::optional<TemporaryFile> temporary_;
  std::string library_name_;
};

#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "bytes.h"
#include "temporary_file.h"

/**
 * Files for calls of the library, which take names in the process's code page. A name that it cannot
 * represent is replaced by its short (8.3) form. Standard input and output are passed as temporary files.
 */

class InputFile {
 public:
  /** @param what Description of the content for error messages. */
  InputFile(const std::string& name, const std::string& what);

  const std::string& name() const { return library_name_; }
  /** Size in bytes. */
  uint64_t size() const { return size_; }

 private:
  std::optional<TemporaryFile> spool_;
  std::string library_name_;
  uint64_t size_ = 0;
};

/** An output file that is written under a temporary name and renamed when it is complete. */
class OutputFile {
 public:
  explicit OutputFile(const std::string& name);

  const std::string& name() const { return library_name_; }
  /** Moves the file to its final name. Does nothing for standard output; callers write content() there. */
  void commit();
  bool is_standard_output() const { return target_.empty(); }
  Bytes content() const;
  /** Replaces what the call wrote. */
  void replace(const Bytes& content);
  /** Size in bytes. */
  uint64_t size() const;

 private:
  std::filesystem::path target_;
  std::optional<TemporaryFile> temporary_;
  std::string library_name_;
};

#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** Size of one read or write. */
constexpr size_t kFileChunk = 64 * 1024;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

/** The file with this name in the local code page. */
std::filesystem::path local_path(const std::string& name);

/** Sequential reader for files of any size. */
class InputFile {
 public:
  /** Throws kSafFileOpen. */
  explicit InputFile(const std::filesystem::path& path);
  explicit InputFile(const std::string& name) : InputFile(local_path(name)) {}

  /** Returns up to `limit` bytes, valid until the next call; empty at the end of the file. */
  ByteView read(size_t limit = kFileChunk);
  uint64_t size();

 private:
  FileHandle file_;
  Bytes buffer_;
};

/**
 * Writes to a temporary file in the target's folder and replaces the target in commit(), when the data is on
 * the disk. Without commit() an existing target is unchanged. The target may be a file that was read, once it
 * is closed. The path is in the local code page.
 */
class OutputFile {
 public:
  explicit OutputFile(std::string path);
  OutputFile(const OutputFile&) = delete;
  ~OutputFile();

  void write(ByteView bytes);
  void commit();

 private:
  std::string path_;
  std::string unfinished_path_;
  FileHandle file_;
};

}  // namespace velm::token

#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** What is read or written at a time. */
constexpr size_t kFileChunk = 64 * 1024;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

/** A file that is read from start to end, of any size. Paths are in the local code page. */
class InputFile {
 public:
  explicit InputFile(const std::string& path);

  /** Up to `limit` bytes, valid until the next call; none at the end of the file. */
  ByteView read(size_t limit = kFileChunk);
  uint64_t size();

 private:
  FileHandle file_;
  Bytes buffer_;
};

/**
 * A file that comes into being whole: it is written beside its place and takes it at commit(). Until then,
 * and when that never comes, whatever stood there stays. It may replace a file that was read, once that is
 * closed.
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

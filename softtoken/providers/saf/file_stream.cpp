#include "softtoken/providers/saf/file_stream.h"

#include <cstdlib>

#include "softtoken/crypto/random.h"
#include "softtoken/providers/saf/saf_call.h"

#ifdef _WIN32
#include <windows.h>
#include <io.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace velm::token {

using namespace protocol;

namespace {

#ifdef _WIN32
int seek(std::FILE* file, int64_t offset, int origin) { return _fseeki64(file, offset, origin); }
int64_t position(std::FILE* file) { return _ftelli64(file); }
std::FILE* open_to_read(const std::filesystem::path& path) { return _wfopen(path.c_str(), L"rb"); }
// Calls FlushFileBuffers().
bool write_to_disk(std::FILE* file) { return std::fflush(file) == 0 && _commit(_fileno(file)) == 0; }
bool replace_file(const std::string& from, const std::string& to) {
  return MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE;
}
#else
int seek(std::FILE* file, int64_t offset, int origin) { return fseeko(file, offset, origin); }
int64_t position(std::FILE* file) { return ftello(file); }
std::FILE* open_to_read(const std::filesystem::path& path) { return std::fopen(path.c_str(), "rb"); }
bool write_to_disk(std::FILE* file) { return std::fflush(file) == 0 && fsync(fileno(file)) == 0; }
bool replace_file(const std::string& from, const std::string& to) {
  if (std::rename(from.c_str(), to.c_str()) != 0) return false;
  const int folder = open(to.substr(0, to.rfind('/') + 1).append(".").c_str(), O_RDONLY | O_DIRECTORY);
  const bool written = folder >= 0 && fsync(folder) == 0;
  if (folder >= 0) close(folder);
  return written;
}
#endif

std::string random_suffix() {
  std::string suffix = ".";
  for (const uint8_t byte : random_bytes(8)) {
    suffix += "0123456789abcdef"[byte >> 4];
    suffix += "0123456789abcdef"[byte & 15];
  }
  return suffix;
}

FileHandle opened(std::FILE* file) {
  require_saf(file != nullptr, kSafFileOpen);
  return FileHandle(file);
}

}  // namespace

std::filesystem::path local_path(const std::string& name) {
#ifdef _WIN32
  const int size = static_cast<int>(name.size());
  std::wstring wide(name.size(), L'\0');
  wide.resize(static_cast<size_t>(MultiByteToWideChar(CP_ACP, 0, name.data(), size, wide.data(), size)));
  return wide;
#else
  return name;
#endif
}

InputFile::InputFile(const std::filesystem::path& path)
    : file_(opened(open_to_read(path))), buffer_(kFileChunk) {}

ByteView InputFile::read(size_t limit) {
  const size_t wanted = limit < buffer_.size() ? limit : buffer_.size();
  const size_t count = std::fread(buffer_.data(), 1, wanted, file_.get());
  require_saf(count == wanted || std::ferror(file_.get()) == 0, kSafFileRead);
  return ByteView(buffer_).first(count);
}

uint64_t InputFile::size() {
  const int64_t at = position(file_.get());
  const bool ended = at >= 0 && seek(file_.get(), 0, SEEK_END) == 0;
  const int64_t end = ended ? position(file_.get()) : -1;
  require_saf(end >= 0 && seek(file_.get(), at, SEEK_SET) == 0, kSafFileRead);
  return static_cast<uint64_t>(end);
}

OutputFile::OutputFile(std::string path)
    : path_(std::move(path)),
      unfinished_path_(path_ + random_suffix()),
      file_(opened(std::fopen(unfinished_path_.c_str(), "wb"))) {}

OutputFile::~OutputFile() {
  file_.reset();
  if (!unfinished_path_.empty()) std::remove(unfinished_path_.c_str());
}

void OutputFile::write(ByteView bytes) {
  require_saf(std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) == bytes.size(), kSafFileWrite);
}

// Without the first step, a power failure could leave the target's name with an empty file.
void OutputFile::commit() {
  require_saf(write_to_disk(file_.get()), kSafFileWrite);
  require_saf(std::fclose(file_.release()) == 0, kSafFileWrite);
  require_saf(replace_file(unfinished_path_, path_), kSafFileWrite);
  unfinished_path_.clear();
}

}  // namespace velm::token

// Reads and writes whole files. Paths are in the local code page. A file whose size exceeds INT32_MAX is
// treated as one that cannot be opened.
#pragma once

#include <algorithm>
#include <cstdint>

#include "basekit/basic/owned_file.h"
#include "basekit/basic/utility_result.h"

namespace velm {

inline OwnedFile open_file(const char* path, const char* mode) {
  return OwnedFile{path ? std::fopen(path, mode) : nullptr};
}

// Returns the file size and rewinds the stream.
inline int32_t measure_file(std::FILE* file) {
  _fseeki64(file, 0, SEEK_END);
  const int64_t size = _ftelli64(file);
  std::rewind(file);
  return size >= 0 && size <= INT32_MAX ? static_cast<int32_t>(size) : int32_t{kUtilityCannotOpen};
}

// Returns the size in bytes, or kUtilityCannotOpen.
inline int32_t xfile_get_size(const char* path) {
  const OwnedFile file = open_file(path, "rb");
  return file ? measure_file(file.get()) : int32_t{kUtilityCannotOpen};
}

// Reads at most `capacity` bytes into `destination` and stores the number of bytes read. With a null
// `destination`, stores the file size. `length` may be null.
inline int32_t xfile_read_bin(const char* path, void* destination, uint64_t capacity, uint64_t* length) {
  if (length) *length = 0;
  const OwnedFile file = open_file(path, "rb");
  if (!file) return kUtilityCannotOpen;
  const int32_t size = measure_file(file.get());
  if (size < 0) return size;

  auto count = static_cast<uint64_t>(size);
  if (destination) count = std::fread(destination, 1, std::min(count, capacity), file.get());
  if (length) *length = count;
  return kUtilityDone;
}

// Creates the file or replaces its content. Sic: a short write, for example on a full disk, is not reported.
inline int32_t xfile_write(const char* path, const void* data, uint32_t length) {
  if (!data) return kUtilityDataNull;
  const OwnedFile file = open_file(path, "wb");
  if (!file) return kUtilityCannotOpen;
  std::fwrite(data, 1, length, file.get());
  return kUtilityDone;
}

}  // namespace velm

// Receives the body of an HTTP response in the caller's buffer.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

namespace velm::xhttp {

// Stores the body in `response`, which may be null. Bytes beyond `capacity` are read and counted, but
// dropped.
class BoundedBody {
 public:
  BoundedBody(void* response, uint32_t capacity)
      : response_(static_cast<char*>(response)), capacity_(response ? capacity : 0) {}

  // Returns where the next `count` bytes are written.
  char* room(uint32_t count) {
    if (count > chunk_size_) {
      chunk_.reset();
      chunk_ = std::make_unique_for_overwrite<char[]>(count);
      chunk_size_ = count;
    }
    return chunk_.get();
  }
  // Takes the first `count` bytes from there.
  void received(uint32_t count) {
    if (total_ < capacity_) {
      const uint64_t left = capacity_ - total_;
      std::memcpy(response_ + total_, chunk_.get(), count < left ? count : left);
    }
    total_ += count;
  }

  // The number of bytes received, at most UINT32_MAX.
  uint32_t length() const { return static_cast<uint32_t>(std::min<uint64_t>(total_, UINT32_MAX)); }

 private:
  static constexpr uint32_t kChunkBytes = 1'048'576;

  char* response_;
  uint64_t capacity_;
  uint64_t total_ = 0;
  uint32_t chunk_size_ = kChunkBytes;
  std::unique_ptr<char[]> chunk_ = std::make_unique_for_overwrite<char[]>(kChunkBytes);
};

}  // namespace velm::xhttp

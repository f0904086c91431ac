// The bytes of one request. They may hold a PIN, so they are wiped before the memory goes back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

namespace velm {

// A plain memset before a release is one that a compiler may leave out.
inline void wipe(void* memory, size_t size) {
  std::memset(memory, 0, size);
  __asm__ __volatile__("" : : "r"(memory) : "memory");
}

class RequestMemory {
 public:
  explicit RequestMemory(size_t capacity)
      : bytes_(std::make_unique_for_overwrite<char[]>(capacity)), capacity_(capacity) {}
  RequestMemory(RequestMemory&& other) noexcept
      : bytes_(std::move(other.bytes_)), capacity_(other.capacity_), size_(other.size_) {
    other.capacity_ = other.size_ = 0;
  }
  RequestMemory& operator=(RequestMemory&&) = delete;
  ~RequestMemory() {
    if (bytes_) wipe(bytes_.get(), size_);
  }

  void append(const void* data, size_t size) {
    if (size == 0) return;
    std::memcpy(end(), data, size);
    size_ += size;
  }

  // Room that is filled in place: at most room() bytes may be written to end() before grow().
  char* end() { return bytes_.get() + size_; }
  size_t room() const { return capacity_ - size_; }
  void grow(size_t written) { size_ += written; }

  const char* data() const { return bytes_.get(); }

  // The size as the transport takes it; a request that 32 bits cannot count is memory that is not to be had.
  uint32_t length() const {
    if (size_ > UINT32_MAX) throw std::bad_alloc();
    return static_cast<uint32_t>(size_);
  }

 private:
  std::unique_ptr<char[]> bytes_;
  size_t capacity_;
  size_t size_ = 0;
};

}  // namespace velm

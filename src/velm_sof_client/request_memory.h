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
  // The transport takes sizes of 32 bits: a capacity beyond them is memory that is not to be had.
  explicit RequestMemory(uint64_t capacity) : capacity_(capacity) {
    if (capacity > UINT32_MAX) throw std::bad_alloc();
    bytes_ = std::make_unique_for_overwrite<char[]>(capacity);
  }
  RequestMemory(RequestMemory&& other) noexcept
      : bytes_(std::move(other.bytes_)), capacity_(other.capacity_), size_(other.size_) {
    other.capacity_ = other.size_ = 0;
  }
  RequestMemory& operator=(RequestMemory&&) = delete;
  ~RequestMemory() {
    // All of it: what an encoder wrote before it failed lies behind the size.
    if (bytes_) wipe(bytes_.get(), capacity_);
  }

  void append(const void* data, size_t size) {
    if (size == 0) return;
    std::memcpy(end(), data, size);
    size_ += size;
  }

  // Room that is filled in place: within the capacity, bytes may be written to end() before grow().
  char* end() { return bytes_.get() + size_; }
  void grow(size_t written) { size_ += written; }

  const char* data() const { return bytes_.get(); }

  uint32_t length() const { return static_cast<uint32_t>(size_); }

 private:
  std::unique_ptr<char[]> bytes_;
  size_t capacity_;
  size_t size_ = 0;
};

}  // namespace velm

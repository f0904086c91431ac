// Memory of one request, and of the answer of a byte-frame call. It may contain a PIN and is wiped before it
// is released.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

namespace velm {

// The compiler may remove a plain memset() before a release; the asm statement prevents that.
inline void wipe(void* memory, size_t size) {
  std::memset(memory, 0, size);
  __asm__ __volatile__("" : : "r"(memory) : "memory");
}

class RequestMemory {
 public:
  // Throws std::bad_alloc above 32 bits: the transport takes 32-bit sizes.
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
    // Wipe the whole capacity: a failed encoder may have written beyond size_.
    if (bytes_) wipe(bytes_.get(), capacity_);
  }

  void append(const void* data, size_t size) {
    if (size == 0) return;
    std::memcpy(end(), data, size);
    size_ += size;
  }

  // For writing in place: write to end(), within the capacity, then call grow().
  char* end() { return bytes_.get() + size_; }
  void grow(size_t written) { size_ += written; }

  char* data() { return bytes_.get(); }
  const char* data() const { return bytes_.get(); }

  uint32_t length() const { return static_cast<uint32_t>(size_); }

 private:
  std::unique_ptr<char[]> bytes_;
  size_t capacity_;
  size_t size_ = 0;
};

}  // namespace velm

// Memory that ends at an inaccessible page, so an overrun by a single byte faults immediately.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace velm::test {

// An output buffer of exactly `size` bytes, filled with 0xAA.
class GuardedBuffer {
 public:
  static constexpr unsigned char kFill = 0xAA;

  explicit GuardedBuffer(size_t size);
  ~GuardedBuffer();
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;

  uint8_t* data() { return data_; }
  char* text() { return reinterpret_cast<char*>(data_); }
  size_t size() const { return size_; }

  // The first `length` bytes.
  std::string bytes(size_t length) const;
  std::string bytes() const { return bytes(size_); }

  // Returns true if nothing was written at or after `from`, nor directly before the buffer.
  bool untouched(size_t from = 0) const;

 private:
  size_t size_;
  unsigned char* pages_ = nullptr;
  size_t accessible_;
  unsigned char* data_;
};

// An input whose last byte is followed by the inaccessible page.
class GuardedBytes {
 public:
  explicit GuardedBytes(std::string_view bytes);
  const uint8_t* data() { return buffer_.data(); }
  uint32_t size() const { return static_cast<uint32_t>(buffer_.size()); }

 private:
  GuardedBuffer buffer_;
};

// A text whose terminating zero is followed by the inaccessible page.
class GuardedText {
 public:
  explicit GuardedText(std::string_view text) : bytes_(std::string(text) + '\0') {}
  operator const char*() { return reinterpret_cast<const char*>(bytes_.data()); }

 private:
  GuardedBytes bytes_;
};

}  // namespace velm::test

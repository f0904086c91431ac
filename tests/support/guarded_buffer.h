// Memory that ends at a page without access, so that one byte too far is a fault at the very place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace velm::test {

// An output of exactly `size` bytes, filled with 0xAA.
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

  // Nothing was written: at `from` and after, and not just before the buffer either.
  bool untouched(size_t from = 0) const;

 private:
  size_t size_;
  unsigned char* pages_ = nullptr;
  size_t accessible_;
  unsigned char* data_;
};

// An input whose last byte is followed by the page without access.
class GuardedBytes {
 public:
  explicit GuardedBytes(std::string_view bytes);
  const uint8_t* data() { return buffer_.data(); }
  uint32_t size() const { return static_cast<uint32_t>(buffer_.size()); }

 private:
  GuardedBuffer buffer_;
};

// A text whose terminating zero is followed by the page without access.
class GuardedText {
 public:
  explicit GuardedText(std::string_view text) : bytes_(std::string(text) + '\0') {}
  operator const char*() { return reinterpret_cast<const char*>(bytes_.data()); }

 private:
  GuardedBytes bytes_;
};

}  // namespace velm::test

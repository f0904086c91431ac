#pragma once

#include <memory>
#include <string>
#include <vector>

#include <openssl/crypto.h>

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** Wipes memory before it is freed. */
template <typename T>
struct WipingAllocator {
  using value_type = T;

  WipingAllocator() = default;
  template <typename U>
  explicit(false) WipingAllocator(const WipingAllocator<U>&) {}

  T* allocate(size_t count) { return std::allocator<T>().allocate(count); }
  void deallocate(T* memory, size_t count) {
    OPENSSL_cleanse(memory, count * sizeof(T));
    std::allocator<T>().deallocate(memory, count);
  }
  friend bool operator==(const WipingAllocator&, const WipingAllocator&) { return true; }
};

/** For private keys, the keys that wrap them, and PINs. */
using SecretBytes = std::vector<uint8_t, WipingAllocator<uint8_t>>;

inline SecretBytes secret_copy(ByteView bytes) { return {bytes.begin(), bytes.end()}; }

/** Text that may contain a PIN or decrypted data. */
using SecretText = std::basic_string<char, std::char_traits<char>, WipingAllocator<char>>;

/** Wipes a string or byte vector at the end of the scope. */
template <typename Buffer>
class WipeAtEnd {
 public:
  explicit WipeAtEnd(Buffer& buffer) : buffer_(buffer) {}
  WipeAtEnd(const WipeAtEnd&) = delete;
  ~WipeAtEnd() { OPENSSL_cleanse(buffer_.data(), buffer_.size()); }

 private:
  Buffer& buffer_;
};

}  // namespace velm::token

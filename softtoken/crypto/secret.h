#pragma once

#include <memory>
#include <string>
#include <vector>

#include <openssl/crypto.h>

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** Memory that is wiped before it is given back. */
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

/** Bytes that must not stay behind in memory: private keys, keys that protect them, PINs. */
using SecretBytes = std::vector<uint8_t, WipingAllocator<uint8_t>>;

inline SecretBytes secret_copy(ByteView bytes) { return {bytes.begin(), bytes.end()}; }

/** Wipes a text or bytes when the scope ends. */
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

#pragma once

#include <array>
#include <cstring>
#include <span>

#include <openssl/crypto.h>

namespace velm::token {

/** What has arrived on a connection and has not been processed. It may contain PINs, so it is wiped. */
class ReceiveBuffer {
 public:
  ReceiveBuffer() = default;
  ReceiveBuffer(const ReceiveBuffer&) = delete;
  ~ReceiveBuffer() { consume(arrived().size()); }

  std::span<const char> arrived() const { return {bytes_.data() + from_, to_ - from_}; }
  /** Free memory; empty if the buffer is full. received() adds bytes written there to arrived(). */
  std::span<char> room();
  void received(size_t count) { to_ += count; }
  /** Removes and wipes the first bytes. */
  void consume(size_t count);

 private:
  std::array<char, 16384> bytes_;
  size_t from_ = 0;
  size_t to_ = 0;
};

inline std::span<char> ReceiveBuffer::room() {
  if (from_ > 0) {
    const size_t count = arrived().size();
    std::memmove(bytes_.data(), bytes_.data() + from_, count);
    OPENSSL_cleanse(bytes_.data() + count, to_ - count);
    from_ = 0;
    to_ = count;
  }
  return std::span(bytes_).subspan(to_);
}

inline void ReceiveBuffer::consume(size_t count) {
  OPENSSL_cleanse(bytes_.data() + from_, count);
  from_ += count;
  if (from_ == to_) from_ = to_ = 0;
}

}  // namespace velm::token

#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>

namespace velm::token {

/**
 * The body of a request, which may contain PINs: wiped before its memory is freed. The memory is not
 * initialised, so room that no byte arrives in costs no physical memory.
 */
class RequestBody {
 public:
  /** Bytes behind the text that may be read, for parsers that read in blocks. The first ones are zero. */
  static constexpr size_t kSpareBytes = 64;

  RequestBody() = default;
  /** Contains a copy of the text. */
  explicit RequestBody(std::string_view text);
  RequestBody(const RequestBody&) = delete;
  ~RequestBody() { clear(); }

  /** The bytes that have arrived; may be changed in place. */
  std::span<char> text() { return {memory_.get(), size_}; }
  /** Size of the memory: at least the size of the text and the spare bytes, once there is room. */
  size_t capacity() const { return capacity_; }

  /** Makes room for a text of this size, which includes what has arrived. */
  void make_room(size_t size);
  /** Room for further bytes; received() adds bytes written there to the text. */
  std::span<char> room();
  void received(size_t count);
  /** Wipes the text and frees the memory. */
  void clear();

 private:
  std::unique_ptr<char[]> memory_;
  size_t capacity_ = 0;
  size_t size_ = 0;
};

}  // namespace velm::token

// Byte frames exchanged between the local service and its clients (application/octet-stream). Integers are
// unsigned, 32-bit and little-endian; there is no padding.
//   request: 0x77, function number (1 byte), fields
//   answer:  result code; if it is 0: length n, n bytes
// A field is a number, or a length followed by that many bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "protocol/function_number.h"

namespace velm::protocol {

using FrameView = std::span<const uint8_t>;

constexpr uint8_t kFrameMark = 0x77;
constexpr size_t kFrameNumberSize = 4;
constexpr size_t kRequestHeadSize = 2;                    // mark and function number
constexpr size_t kAnswerHeadSize = 2 * kFrameNumberSize;  // code and data length

// Throws std::bad_alloc if the length does not fit in 32 bits.
constexpr uint32_t frame_length(size_t length) {
  if (length > UINT32_MAX) throw std::bad_alloc();
  return static_cast<uint32_t>(length);
}

// A `Sink` has a member append(const char*, size_t), as std::string does.
template <class Sink>
void append_number(Sink& sink, uint32_t number) {
  const char bytes[kFrameNumberSize] = {static_cast<char>(number), static_cast<char>(number >> 8),
                                        static_cast<char>(number >> 16), static_cast<char>(number >> 24)};
  sink.append(bytes, sizeof bytes);
}

// A byte string. A null block is sent as an empty one.
struct FrameBytes {
  const void* data;
  uint32_t size;

  FrameBytes(const void* block, size_t length) : data(block), size(block ? frame_length(length) : 0) {}
  explicit FrameBytes(FrameView block) : FrameBytes(block.data(), block.size()) {}
};

// A number, a byte string, or a text with its terminating zero. A null text is sent as an empty text.
class FrameField {
 public:
  FrameField(uint32_t number) : number_(number), is_number_(true) {}
  FrameField(const FrameBytes& block) : block_(block) {}
  FrameField(const char* text) : block_(text ? text : "", (text ? std::strlen(text) : 0) + 1) {}

  uint64_t size() const { return kFrameNumberSize + uint64_t{is_number_ ? 0 : block_.size}; }

  template <class Sink>
  void append_to(Sink& sink) const {
    append_number(sink, is_number_ ? number_ : block_.size);
    if (!is_number_) sink.append(static_cast<const char*>(block_.data), block_.size);
  }

 private:
  FrameBytes block_{nullptr, 0};
  uint32_t number_ = 0;
  bool is_number_ = false;
};

// Size of a request in bytes. 64-bit, because the sum may exceed 32 bits.
inline uint64_t request_size(std::initializer_list<FrameField> fields) {
  uint64_t size = kRequestHeadSize;
  for (const FrameField& field : fields) size += field.size();
  return size;
}

template <class Sink>
void append_request(Sink& sink, FunctionNumber function, std::initializer_list<FrameField> fields) {
  const char head[kRequestHeadSize] = {static_cast<char>(kFrameMark), static_cast<char>(function)};
  sink.append(head, sizeof head);
  for (const FrameField& field : fields) field.append_to(sink);
}

// `Text` is a string type.
template <class Text = std::string>
Text build_answer(uint32_t code) {
  Text answer;
  append_number(answer, code);
  return answer;
}

template <class Text = std::string>
Text build_answer(FrameView data) {
  constexpr uint32_t kSuccess = 0;
  Text answer;
  answer.reserve(kAnswerHeadSize + data.size());
  append_number(answer, kSuccess);
  FrameField(FrameBytes(data)).append_to(answer);
  return answer;
}

// Reads fields in order. Returns nothing for a field that extends beyond the end of the frame.
class FieldReader {
 public:
  explicit FieldReader(FrameView fields) : rest_(fields) {}

  std::optional<uint32_t> number() {
    const auto bytes = take(kFrameNumberSize);
    if (!bytes) return std::nullopt;
    const FrameView four = *bytes;
    return uint32_t{four[0]} | uint32_t{four[1]} << 8 | uint32_t{four[2]} << 16 | uint32_t{four[3]} << 24;
  }

  std::optional<FrameView> bytes() {
    const auto length = number();
    return length ? take(*length) : std::nullopt;
  }

  bool at_end() const { return rest_.empty(); }

 private:
  std::optional<FrameView> take(size_t count) {
    if (count > rest_.size()) return std::nullopt;
    const FrameView taken = rest_.first(count);
    rest_ = rest_.subspan(count);
    return taken;
  }

  FrameView rest_;
};

// Returns the text up to the first zero byte, or nothing if there is no zero byte.
inline std::optional<std::string_view> text_in(FrameView bytes) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const size_t end = text.find('\0');
  if (end == std::string_view::npos) return std::nullopt;
  return text.substr(0, end);
}

struct FrameRequest {
  uint8_t function;
  FrameView fields;
};

// Returns nothing if the frame is too short or does not begin with the mark.
inline std::optional<FrameRequest> read_request(FrameView frame) {
  if (frame.size() < kRequestHeadSize || frame[0] != kFrameMark) return std::nullopt;
  return FrameRequest{frame[1], frame.subspan(kRequestHeadSize)};
}

// A decoded answer: malformed (`refused`), a result code, or data.
struct FrameAnswer {
  bool refused = false;
  uint32_t code = 0;
  FrameView data{};
};

enum class FrameContent { code_only, code_and_data };

// `stored` is the receive buffer, `received` the number of bytes sent by the service. An answer is refused if
// it did not fit in the buffer or if its length exceeds the data received. Bytes after the data are ignored.
inline FrameAnswer read_answer(FrameView stored, uint64_t received, FrameContent content) {
  constexpr FrameAnswer kRefused{.refused = true};
  if (received > stored.size()) return kRefused;
  FieldReader fields(stored.first(static_cast<size_t>(received)));
  const auto code = fields.number();
  if (!code) return kRefused;
  if (*code != 0 || content == FrameContent::code_only) return {.code = *code};
  const auto data = fields.bytes();
  return data ? FrameAnswer{.data = *data} : kRefused;
}

}  // namespace velm::protocol

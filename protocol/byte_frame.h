// Octet-stream frames between the local service and its clients. All integers are unsigned 32-bit
// little-endian, without padding.
//   request: 0x77, function number (1 byte), fields
//   answer:  result code; when that is 0: length n, n bytes
// A field is a number, or a length and as many bytes.
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
constexpr size_t kRequestHeadSize = 2;                     // mark and function number
constexpr size_t kAnswerHeadSize = 2 * kFrameNumberSize;  // code and data length

// A length as a frame carries it. More than 32 bits hold fails like memory that runs out.
constexpr uint32_t frame_length(size_t length) {
  if (length > UINT32_MAX) throw std::bad_alloc();
  return static_cast<uint32_t>(length);
}

// A `Sink` collects the bytes of a frame: append(const char*, size_t).
template <class Sink>
void append_number(Sink& sink, uint32_t number) {
  const char bytes[kFrameNumberSize] = {static_cast<char>(number), static_cast<char>(number >> 8),
                                        static_cast<char>(number >> 16), static_cast<char>(number >> 24)};
  sink.append(bytes, sizeof bytes);
}

// A byte string. A null block is sent as no bytes.
struct FrameBytes {
  const void* data;
  uint32_t size;

  FrameBytes(const void* block, size_t length) : data(block), size(block ? frame_length(length) : 0) {}
  explicit FrameBytes(FrameView block) : FrameBytes(block.data(), block.size()) {}
};

// A number, a byte string, or a text with its terminating zero (a null text is the empty text).
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

// The size of a request, for the memory that takes it. Summed in 64 bits: it can pass 32.
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

inline std::string build_answer(uint32_t code) {
  std::string answer;
  append_number(answer, code);
  return answer;
}

inline std::string build_answer(FrameView data) {
  constexpr uint32_t kSuccess = 0;
  std::string answer;
  answer.reserve(kAnswerHeadSize + data.size());
  append_number(answer, kSuccess);
  FrameField(FrameBytes(data)).append_to(answer);
  return answer;
}

// Reads fields in order. Whatever a length says, nothing beyond the fields is read: a field that reaches
// beyond them is not there.
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

// The text of a byte string, up to its first zero byte; nothing when it has none.
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

// Nothing when the frame has no head or the wrong mark.
inline std::optional<FrameRequest> read_request(FrameView frame) {
  if (frame.size() < kRequestHeadSize || frame[0] != kFrameMark) return std::nullopt;
  return FrameRequest{frame[1], frame.subspan(kRequestHeadSize)};
}

// An answer as read: refused, a code of the service, or data.
struct FrameAnswer {
  bool refused = false;
  uint32_t code = 0;
  FrameView data{};
};

enum class FrameContent { code_only, code_and_data };

// `stored` are the bytes that were kept, `received` the number that arrived. An answer that did not fit, or
// that announces more data than arrived, is refused. Bytes behind the data are ignored.
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

// Octet-stream frames. All integers are unsigned 32-bit little-endian, without padding.
//   request:  0x77, function number (1 byte), fields
//   response: result code; when that is 0: length n, n bytes
#pragma once

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <span>

#include "velm_sof_client/function_number.h"
#include "velm_sof_client/request_memory.h"

namespace velm {

constexpr char kFrameMark = 0x77;
constexpr size_t kFrameNumberBytes = 4;

inline void append_number(RequestMemory& request, uint32_t number) {
  const char bytes[kFrameNumberBytes] = {static_cast<char>(number), static_cast<char>(number >> 8),
                                         static_cast<char>(number >> 16), static_cast<char>(number >> 24)};
  request.append(bytes, sizeof bytes);
}

inline uint32_t number_at(std::span<const uint8_t> frame, size_t offset) {
  return frame[offset] | uint32_t{frame[offset + 1]} << 8 | uint32_t{frame[offset + 2]} << 16 |
         uint32_t{frame[offset + 3]} << 24;
}

// A byte string: its length, then its bytes. A null block is sent as no bytes.
struct FrameBytes {
  const void* data;
  uint32_t size;

  FrameBytes(const void* block, uint32_t length) : data(block), size(block ? length : 0) {}
};

// A number, a byte string, or a text with its terminating zero (a null text is the empty text).
class FrameField {
 public:
  FrameField(uint32_t number) : number_(number), is_number_(true) {}
  FrameField(const FrameBytes& block) : block_(block) {}
  FrameField(const char* text) : block_(text ? text : "", text_size(text)) {}

  uint64_t room() const { return kFrameNumberBytes + uint64_t{is_number_ ? 0 : block_.size}; }

  void append_to(RequestMemory& request) const {
    append_number(request, is_number_ ? number_ : block_.size);
    request.append(block_.data, is_number_ ? 0 : block_.size);
  }

 private:
  static uint32_t text_size(const char* text) {
    const size_t size = (text ? std::strlen(text) : 0) + 1;
    if (size > UINT32_MAX) throw std::bad_alloc();
    return static_cast<uint32_t>(size);
  }

  FrameBytes block_{nullptr, 0};
  uint32_t number_ = 0;
  bool is_number_ = false;
};

inline RequestMemory build_frame(FunctionNumber number, std::initializer_list<FrameField> fields) {
  uint64_t room = 2;
  for (const FrameField& field : fields) room += field.room();
  RequestMemory request(room);
  const char opening[2] = {kFrameMark, static_cast<char>(number)};
  request.append(opening, sizeof opening);
  for (const FrameField& field : fields) field.append_to(request);
  return request;
}

// A response frame as read: refused, a code of the service, or data.
struct FrameAnswer {
  bool refused = false;
  uint32_t code = 0;
  std::span<const uint8_t> data{};
};

enum class FrameContent { code_only, code_and_data };

// `stored` are the bytes that were kept, `received` the number that arrived. A frame that says more than it
// brought, or that did not fit, is refused.
inline FrameAnswer read_frame(std::span<const uint8_t> stored, uint64_t received, FrameContent content) {
  constexpr FrameAnswer kRefused{.refused = true};
  if (received > stored.size() || received < kFrameNumberBytes) return kRefused;
  const std::span<const uint8_t> frame = stored.first(static_cast<size_t>(received));
  const uint32_t code = number_at(frame, 0);
  if (code != 0 || content == FrameContent::code_only) return {.code = code};
  if (received < 2 * kFrameNumberBytes) return kRefused;
  const std::span<const uint8_t> data = frame.subspan(2 * kFrameNumberBytes);
  const uint32_t length = number_at(frame, kFrameNumberBytes);
  if (length > data.size()) return kRefused;
  return {.data = data.first(length)};
}

}  // namespace velm

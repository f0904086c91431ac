// The text of a JSON request, formatted from a call's own format. Nothing is escaped; byte data goes into the
// text as base64 without a copy in between.
#pragma once

#include <charconv>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string_view>

#include "basekit/basic/base64.h"
#include "protocol/function_number.h"
#include "velm_sof_client/request_memory.h"

namespace velm {

// Bytes that a request carries as base64 text. A null block counts as no bytes.
struct Base64 {
  const void* data;
  size_t size;

  Base64(const void* block, size_t length) : data(block), size(block ? length : 0) {}
  explicit Base64(const char* text) : Base64(text, text ? std::strlen(text) : 0) {}
};

// A request that has room for the block has 32 bits for its size.
inline void append_base64(RequestMemory& request, const Base64& block) {
  request.grow(encode_base64(block.data, static_cast<uint32_t>(block.size), request.end()));
}

// One value of a request, printed by the conversion that stands for it in the format: %d, %u or %s.
class JsonField {
 public:
  JsonField(protocol::FunctionNumber function) : JsonField(protocol::number_of(function)) {}
  JsonField(int32_t number) : kind_(Kind::number), number_(number) {}
  JsonField(uint32_t number) : kind_(Kind::number), number_(number) {}
  JsonField(std::string_view text) : kind_(Kind::text), text_(text) {}
  JsonField(const char* text) : JsonField(std::string_view(text ? text : "(null)")) {}
  JsonField(const Base64& block) : kind_(Kind::base64), block_(block) {}

  uint64_t room() const {
    switch (kind_) {
      case Kind::number: return 20;
      case Kind::text: return text_.size();
      case Kind::base64: return base64_room(block_.size);
    }
    return 0;
  }

  void append_to(RequestMemory& request) const {
    switch (kind_) {
      case Kind::number: {
        char digits[20];
        const auto end = std::to_chars(digits, digits + sizeof digits, number_).ptr;
        request.append(digits, static_cast<size_t>(end - digits));
        return;
      }
      case Kind::text: request.append(text_.data(), text_.size()); return;
      case Kind::base64: append_base64(request, block_); return;
    }
  }

 private:
  enum class Kind { number, text, base64 } kind_;
  int64_t number_ = 0;
  std::string_view text_{};
  Base64 block_{nullptr, 0};
};

// Each conversion of `format` (a "%" and one letter) stands for the next field.
inline RequestMemory format_json(std::string_view format, std::initializer_list<JsonField> fields) {
  uint64_t room = format.size();
  for (const JsonField& field : fields) room += field.room();
  RequestMemory request(room);

  for (const JsonField& field : fields) {
    const size_t conversion = format.find('%');
    request.append(format.data(), conversion);
    field.append_to(request);
    format.remove_prefix(conversion + 2);
  }
  request.append(format.data(), format.size());
  return request;
}

}  // namespace velm

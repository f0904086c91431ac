// Formats JSON requests. Sic: texts are not escaped. Byte data is base64-encoded directly into the request.
#pragma once

#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string_view>
#include <type_traits>

#include "basekit/basic/base64.h"
#include "protocol/function_number.h"
#include "velm_sof_client/request_memory.h"

namespace velm {

// Bytes that are sent as base64 text. A null block is an empty one.
struct Base64 {
  const void* data;
  size_t size;

  Base64(const void* block, size_t length) : data(block), size(block ? length : 0) {}
  explicit Base64(const char* text) : Base64(text, text ? std::strlen(text) : 0) {}
};

// The size fits in 32 bits: the capacity of a request is limited to 32 bits.
inline void append_base64(RequestMemory& request, const Base64& block) {
  request.grow(encode_base64(block.data, static_cast<uint32_t>(block.size), request.end()));
}

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
      case Kind::number:
        return 20;
      case Kind::text:
        return text_.size();
      case Kind::base64:
        return base64_room(block_.size);
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
      case Kind::text:
        request.append(text_.data(), text_.size());
        return;
      case Kind::base64:
        append_base64(request, block_);
        return;
    }
  }

 private:
  enum class Kind { number, text, base64 } kind_;
  int64_t number_ = 0;
  std::string_view text_{};
  Base64 block_{nullptr, 0};
};

// Required conversion of a field: %d (signed numbers and function numbers), %u or %s (texts and base64).
template <class Field>
consteval char conversion_of() {
  if constexpr (std::is_same_v<Field, int32_t> || std::is_same_v<Field, protocol::FunctionNumber>) {
    return 'd';
  } else if constexpr (std::is_same_v<Field, uint32_t>) {
    return 'u';
  } else {
    static_assert(std::is_same_v<Field, Base64> || std::is_convertible_v<const Field&, std::string_view>);
    return 's';
  }
}

// Returns whether the conversions ("%" and one letter) of a format match the fields in number and order.
template <class... Fields>
constexpr bool fits_fields(std::string_view format) {
  constexpr std::array<char, sizeof...(Fields)> kConversions{conversion_of<Fields>()...};
  for (const char conversion : kConversions) {
    const size_t at = format.find('%');
    if (at == std::string_view::npos || format.substr(at + 1, 1) != std::string_view(&conversion, 1))
      return false;
    format.remove_prefix(at + 2);
  }
  return format.find('%') == std::string_view::npos;
}

// Unchecked format. Only JsonFormat, which checks the format, can create one.
class JsonFormatText {
 protected:
  consteval explicit JsonFormatText(const char* format) : text_(format) {}

  RequestMemory fill(std::initializer_list<JsonField> fields) const {
    uint64_t room = text_.size();
    for (const JsonField& field : fields) room += field.room();
    RequestMemory request(room);

    std::string_view rest = text_;
    for (const JsonField& field : fields) {
      const size_t conversion = rest.find('%');
      request.append(rest.data(), conversion);
      field.append_to(request);
      rest.remove_prefix(conversion + 2);
    }
    request.append(rest.data(), rest.size());
    return request;
  }

 private:
  std::string_view text_;
};

// Format literal, checked against its field types at compile time.
template <class... Fields>
class JsonFormat : private JsonFormatText {
 public:
  consteval JsonFormat(const char* format) : JsonFormatText(format) {
    if (!fits_fields<Fields...>(format)) throw "the conversions of the format are not those of the fields";
  }

  // Returns the request with the conversions replaced by the fields.
  RequestMemory with(const Fields&... fields) const { return fill({JsonField(fields)...}); }
};

template <class... Fields>
RequestMemory format_json(const JsonFormat<std::type_identity_t<Fields>...>& format,
                          const Fields&... fields) {
  return format.with(fields...);
}

}  // namespace velm

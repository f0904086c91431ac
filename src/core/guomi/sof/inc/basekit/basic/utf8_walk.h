// Whether a byte string is to be treated as UTF-8. Computed only.
#pragma once

#include <cstddef>
#include <cstdint>

namespace velm {

// Bytes of the UTF-8 character that begins with `lead`; 0 when none does.
constexpr size_t utf8_character_size(uint8_t lead) {
  if (lead < 0x80) return 1;
  if (lead < 0xC0 || lead > 0xF7) return 0;
  return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

constexpr bool is_utf8_continuation(uint8_t byte) { return (byte & 0xC0) == 0x80; }

// A character that is cut off by the end is taken as UTF-8, whatever is left of it.
inline bool xencoding_is_utf8(const char* text, size_t length) {
  size_t at = 0;
  while (at < length) {
    const size_t size = utf8_character_size(static_cast<uint8_t>(text[at]));
    if (size == 0) return false;
    if (size > length - at) return true;
    for (size_t i = 1; i < size; ++i) {
      if (!is_utf8_continuation(static_cast<uint8_t>(text[at + i]))) return false;
    }
    // Every two-byte sequence of UTF-8 is a GBK character too, and is taken as one.
    if (size == 2) return false;
    at += size;
  }
  return true;
}

}  // namespace velm

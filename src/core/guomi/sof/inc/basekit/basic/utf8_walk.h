// Heuristic that tells UTF-8 from the local code page.
#pragma once

#include <cstddef>
#include <cstdint>

namespace velm {

// Size of the UTF-8 character that begins with `lead`, or 0 if `lead` is not a lead byte.
constexpr size_t utf8_character_size(uint8_t lead) {
  if (lead < 0x80) return 1;
  if (lead < 0xC0 || lead > 0xF7) return 0;
  return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

constexpr bool is_utf8_continuation(uint8_t byte) { return (byte & 0xC0) == 0x80; }

// Sic: a character truncated by the end of the text counts as UTF-8; its remaining bytes are not checked.
inline bool xencoding_is_utf8(const char* text, size_t length) {
  size_t at = 0;
  while (at < length) {
    const size_t size = utf8_character_size(static_cast<uint8_t>(text[at]));
    if (size == 0) return false;
    if (size > length - at) return true;
    for (size_t i = 1; i < size; ++i) {
      if (!is_utf8_continuation(static_cast<uint8_t>(text[at + i]))) return false;
    }
    // Every two-byte UTF-8 sequence is also a GBK character: treat the text as GBK.
    if (size == 2) return false;
    at += size;
  }
  return true;
}

}  // namespace velm

// Base64 texts, by the crypto module's encoder.
#pragma once

#include <cstdint>
#include <cstring>
#include <new>
#include <string>

#include "modules/velm_openssl_api.h"

namespace velm {

// Room for the base64 form of `size` bytes: the text itself, line breaks that the crypto module may add, and
// slack.
constexpr uint64_t base64_room(uint64_t size) { return (size + 2) / 3 * 4 + size / 24 + 1024; }

// Encodes into the `room` bytes of `text`, at least base64_room(length), and gives the characters written.
// What the crypto module cannot encode is the empty text.
inline size_t encode_base64(const void* data, uint32_t length, char* text, size_t room) {
  uint32_t written = 0;
  const int32_t result = VELM_Openssl_Base64Encode(static_cast<const uint8_t*>(data), length,
                                                   reinterpret_cast<uint8_t*>(text), &written);
  return result == 0 && written <= room ? strnlen(text, written) : 0;
}

// The empty text on any failure.
inline std::string xbase64_encode_string(const void* data, uint32_t length) {
  try {
    std::string text(base64_room(length), '\0');
    text.resize(encode_base64(data, data ? length : 0, text.data(), text.size()));
    return text;
  } catch (const std::bad_alloc&) {
    return {};
  }
}

// The text without its terminating zero.
inline std::string xbase64_encode_text(const char* text) {
  return xbase64_encode_string(text, text ? static_cast<uint32_t>(std::strlen(text)) : 0);
}

}  // namespace velm

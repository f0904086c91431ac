// Base64 encoding with the crypto module.
#pragma once

#include <cstdint>
#include <cstring>
#include <new>
#include <string>

#include <emmintrin.h>

#include "provider_abi/velm_openssl_api.h"

namespace velm {

// Length of the padded base64 text of `size` bytes, without line breaks.
constexpr uint64_t base64_length(uint64_t size) { return (size + 2) / 3 * 4; }

// Buffer size for the base64 text of `size` bytes: the text, line breaks that the crypto module may add, and
// 1024 spare bytes.
constexpr uint64_t base64_room(uint64_t size) { return base64_length(size) + size / 24 + 1024; }

// strnlen() for long texts: that of some C runtimes reads one byte at a time.
inline size_t bounded_length(const char* text, size_t size) {
  size_t length = 0;
  for (; size - length >= sizeof(__m128i); length += sizeof(__m128i)) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + length));
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_setzero_si128())) != 0) break;
  }
  return length + strnlen(text + length, size - length);
}

// Encodes into `text`, a buffer of base64_room(length) bytes, and returns the number of characters written.
// base64_room(length) must fit in 32 bits. Returns 0 if the crypto module fails or reports a length beyond
// the buffer.
inline size_t encode_base64(const void* data, uint32_t length, char* text) {
  const uint64_t room = base64_room(length);
  // Zero the tail so an overstated length cannot leak heap bytes.
  std::memset(text + base64_length(length), 0, room - base64_length(length));
  uint32_t written = 0;
  const int32_t result = VELM_Openssl_Base64Encode(static_cast<const uint8_t*>(data), length,
                                                   reinterpret_cast<uint8_t*>(text), &written);
  return result == 0 && written <= room ? bounded_length(text, written) : 0;
}

// Returns an empty string on failure, or if the buffer size does not fit in 32 bits.
inline std::string xbase64_encode_string(const void* data, size_t length) {
  const size_t size = data ? length : 0;
  if (base64_room(size) > UINT32_MAX) return {};
  try {
    std::string text(base64_room(size), '\0');
    text.resize(encode_base64(data, static_cast<uint32_t>(size), text.data()));
    return text;
  } catch (const std::bad_alloc&) {
    return {};
  }
}

// Encodes a text without its terminating zero.
inline std::string xbase64_encode_text(const char* text) {
  return xbase64_encode_string(text, text ? std::strlen(text) : 0);
}

}  // namespace velm

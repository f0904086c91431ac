#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using Bytes = std::vector<uint8_t>;

inline Bytes bytes_of(std::string_view text) { return {text.begin(), text.end()}; }
inline std::string text_of(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }
inline uint32_t size_of(const Bytes& bytes) { return static_cast<uint32_t>(bytes.size()); }

/** Pointer for the library, which rejects null pointers even with length 0. */
inline const uint8_t* data_of(const Bytes& bytes) {
  static constexpr uint8_t kNothing = 0;
  return bytes.empty() ? &kNothing : bytes.data();
}

std::string hex_of(const Bytes& bytes);
/** Throws Failure if the text is not hexadecimal. White space is ignored. */
Bytes bytes_of_hex(std::string_view text);
std::string base64_of(const Bytes& bytes);
/** Throws Failure if the text is not base64. White space is ignored. */
Bytes bytes_of_base64(std::string_view text);

#include "support/base64.h"

#include <cstdint>

namespace velm::test {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string base64(std::string_view bytes) {
  std::string text;
  for (size_t at = 0; at < bytes.size(); at += 3) {
    const std::string_view group = bytes.substr(at, 3);
    uint32_t bits = 0;
    for (size_t i = 0; i < 3; ++i) {
      bits = bits << 8 | (i < group.size() ? static_cast<uint8_t>(group[i]) : 0u);
    }
    for (size_t i = 0; i < 4; ++i) text += i <= group.size() ? kAlphabet[bits >> (18 - 6 * i) & 63] : '=';
  }
  return text;
}

std::optional<std::string> from_base64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  const size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
  std::string bytes;
  uint32_t bits = 0;
  for (size_t at = 0; at < text.size(); ++at) {
    const bool is_padding = at >= text.size() - padding;
    const size_t value = is_padding ? 0 : kAlphabet.find(text[at]);
    if (value == std::string_view::npos) return std::nullopt;
    bits = bits << 6 | static_cast<uint32_t>(value);
    if (at % 4 != 3) continue;
    for (const int shift : {16, 8, 0}) bytes += static_cast<char>(bits >> shift & 0xFF);
    bits = 0;
  }
  bytes.resize(bytes.size() - padding);
  return bytes;
}

}  // namespace velm::test

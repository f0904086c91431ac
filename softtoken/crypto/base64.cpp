#include "softtoken/crypto/base64.h"

#include <algorithm>

namespace velm::token {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int value_of(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

}  // namespace

std::string base64_encode(ByteView bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const size_t count = std::min<size_t>(3, bytes.size() - i);
    uint32_t group = uint32_t{bytes[i]} << 16;
    if (count > 1) group |= uint32_t{bytes[i + 1]} << 8;
    if (count > 2) group |= bytes[i + 2];
    text += kAlphabet[group >> 18];
    text += kAlphabet[(group >> 12) & 63];
    text += count > 1 ? kAlphabet[(group >> 6) & 63] : '=';
    text += count > 2 ? kAlphabet[group & 63] : '=';
  }
  return text;
}

std::optional<Bytes> base64_decode(std::string_view text) {
  Bytes bytes;
  bytes.reserve(text.size() / 4 * 3);
  uint32_t group = 0;
  size_t digits = 0;
  size_t padding = 0;
  for (char c : text) {
    if (c == '\r' || c == '\n') continue;
    const bool ended = padding > 0 && digits == 0;
    const int value = c == '=' ? 0 : value_of(c);
    if (ended || value < 0 || (padding > 0 && c != '=')) return std::nullopt;
    if (c == '=') ++padding;
    group = group << 6 | static_cast<uint32_t>(value);
    if (++digits < 4) continue;
    if (padding > 2) return std::nullopt;
    bytes.push_back(static_cast<uint8_t>(group >> 16));
    if (padding < 2) bytes.push_back(static_cast<uint8_t>(group >> 8));
    if (padding < 1) bytes.push_back(static_cast<uint8_t>(group));
    group = 0;
    digits = 0;
  }
  if (digits != 0) return std::nullopt;
  return bytes;
}

}  // namespace velm::token

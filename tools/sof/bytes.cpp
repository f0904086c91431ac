#include "bytes.h"

#include <algorithm>
#include <charconv>

#include "failure.h"

namespace {

std::string without_white_space(std::string_view text) {
  std::string kept;
  std::ranges::copy_if(text, std::back_inserter(kept),
                       [](char c) { return std::string_view(" \t\r\n").find(c) == std::string_view::npos; });
  return kept;
}

}  // namespace

std::string hex_of(const Bytes& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

Bytes bytes_of_hex(std::string_view text) {
  const std::string digits = without_white_space(text);
  Bytes bytes(digits.size() / 2);
  for (size_t i = 0; i < bytes.size(); ++i) {
    const char* pair = digits.data() + 2 * i;
    if (std::from_chars(pair, pair + 2, bytes[i], 16).ptr != pair + 2)
      throw usage_failure("the input is not hexadecimal");
  }
  if (digits.size() % 2 != 0) throw usage_failure("the input is not hexadecimal: half a byte is left over");
  return bytes;
}

Bytes bytes_of_base64(std::string_view text) { return sof::base64_decode(without_white_space(text)); }

#include "softtoken/crypto/base64.h"

#include <algorithm>
#include <array>

#include <openssl/evp.h>

#include "softtoken/crypto/base64_vector.h"
#include "softtoken/crypto/secret.h"

namespace velm::token {
namespace {

// EVP_EncodeBlock() takes the length as an int. A multiple of 3: only the last group may have padding.
constexpr size_t kLongestPiece = size_t{3} << 28;

// Number of digits collected from between line breaks, in groups of four.
constexpr size_t kDigits = 64;

// Not stored in a static variable: its guard would keep system resources when a module is unloaded.
bool has_vectors() { return __builtin_cpu_supports("ssse3"); }

bool is_line_break(char c) { return c == '\r' || c == '\n'; }

// Removes padding and line breaks from the end; returns the number of padding characters.
size_t remove_padding(std::string_view& text) {
  size_t padding = 0;
  for (; !text.empty() && (text.back() == '=' || is_line_break(text.back())); text.remove_suffix(1)) {
    if (text.back() == '=') ++padding;
  }
  return padding;
}

// Moves digits from the beginning of the text, up to the size of the array; drops line breaks.
size_t take_digits(std::string_view& text, std::array<uint8_t, kDigits>& digits) {
  size_t count = 0;
  size_t taken = 0;
  for (; taken < text.size() && count < digits.size(); ++taken) {
    if (!is_line_break(text[taken])) digits[count++] = static_cast<uint8_t>(text[taken]);
  }
  text.remove_prefix(taken);
  return count;
}

// Decodes groups of four digits; returns false for any other character. EVP_DecodeBlock() reads '=' as a
// digit and skips blanks and '-' at both ends, which makes its result shorter.
bool decode_groups(ByteView digits, uint8_t* bytes) {
  if (std::ranges::find(digits, uint8_t{'='}) != digits.end()) return false;
  const int length = EVP_DecodeBlock(bytes, digits.data(), static_cast<int>(digits.size()));
  return length == static_cast<int>(digits.size() / 4 * 3);
}

}  // namespace

void base64_encode(ByteView bytes, char* text) {
  if (has_vectors()) {
    const size_t encoded = encode_vectors(bytes.data(), bytes.size(), text);
    bytes = bytes.subspan(encoded);
    text += base64_length(encoded);
  }
  if (bytes.empty()) return;
  auto* to = reinterpret_cast<uint8_t*>(text);
  // EVP_EncodeBlock() appends a NUL, for which there is room except behind the last group.
  const size_t last = (bytes.size() - 1) % 3 + 1;
  for (ByteView rest = bytes.first(bytes.size() - last); !rest.empty();) {
    const ByteView piece = rest.first(std::min(rest.size(), kLongestPiece));
    to += EVP_EncodeBlock(to, piece.data(), static_cast<int>(piece.size()));
    rest = rest.subspan(piece.size());
  }
  std::array<uint8_t, 5> group;
  const WipeAtEnd wiped(group);
  EVP_EncodeBlock(group.data(), bytes.last(last).data(), static_cast<int>(last));
  std::copy_n(group.data(), 4, to);
}

std::string base64_encode(ByteView bytes) {
  std::string text(base64_length(bytes.size()), '\0');
  base64_encode(bytes, text.data());
  return text;
}

size_t base64_decoded_length(std::string_view text) {
  const auto digits = std::ranges::count_if(text, [](char c) { return c != '=' && !is_line_break(c); });
  return static_cast<size_t>(digits) * 3 / 4;
}

std::optional<size_t> base64_decode(std::string_view text, uint8_t* bytes) {
  if (bytes != nullptr && !base64_decode(text, nullptr)) return std::nullopt;
  const size_t padding = remove_padding(text);
  if (padding > 2) return std::nullopt;

  std::array<uint8_t, kDigits> digits;
  std::array<uint8_t, kDigits / 4 * 3> decoded;
  const WipeAtEnd wiped_digits(digits);
  const WipeAtEnd wiped_decoded(decoded);
  size_t length = 0;
  do {
    if (has_vectors()) {
      const size_t converted = decode_vectors(text.data(), text.size(), bytes ? bytes + length : nullptr);
      text.remove_prefix(converted);
      length += converted / 4 * 3;
    }
    size_t count = take_digits(text, digits);
    size_t surplus = 0;
    if (text.empty()) {
      if ((count + padding) % 4 != 0) return std::nullopt;
      surplus = padding;
      for (size_t i = 0; i < padding; ++i) digits[count++] = 'A';
    }
    if (!decode_groups(ByteView(digits).first(count), decoded.data())) return std::nullopt;
    const size_t size = count / 4 * 3 - surplus;
    if (bytes) std::copy_n(decoded.data(), size, bytes + length);
    length += size;
  } while (!text.empty());
  return length;
}

std::optional<Bytes> base64_decode(std::string_view text) {
  Bytes bytes(base64_decoded_length(text));
  if (!base64_decode(text, bytes.data())) return std::nullopt;
  return bytes;
}

}  // namespace velm::token

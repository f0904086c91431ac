#include "softtoken/crypto/der_element.h"

namespace velm::token {
namespace {

constexpr uint8_t kLongLength = 0x80;
constexpr uint8_t kLongTag = 0x1F;

}  // namespace

Bytes der_header(DerHeader header) {
  if (header.length < kLongLength) return {header.tag, static_cast<uint8_t>(header.length)};
  Bytes length;
  for (uint64_t rest = header.length; rest != 0; rest >>= 8)
    length.insert(length.begin(), static_cast<uint8_t>(rest));
  Bytes bytes{header.tag, static_cast<uint8_t>(kLongLength | length.size())};
  bytes.insert(bytes.end(), length.begin(), length.end());
  return bytes;
}

Bytes der_element(uint8_t tag, ByteView content) {
  Bytes bytes = der_header({tag, content.size()});
  bytes.insert(bytes.end(), content.begin(), content.end());
  return bytes;
}

std::optional<DerHeader> read_der_header(const std::function<std::optional<uint8_t>()>& next) {
  const auto tag = next();
  const auto first = next();
  if (!tag || !first || (*tag & kLongTag) == kLongTag) return std::nullopt;
  if (*first < kLongLength) return DerHeader{*tag, *first};
  const unsigned count = *first & 0x7Fu;
  if (count == 0 || count > sizeof(uint64_t)) return std::nullopt;
  uint64_t length = 0;
  for (unsigned i = 0; i < count; ++i) {
    const auto byte = next();
    if (!byte) return std::nullopt;
    length = length << 8 | *byte;
  }
  return DerHeader{*tag, length};
}

}  // namespace velm::token

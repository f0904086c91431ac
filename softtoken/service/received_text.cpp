#include "softtoken/service/received_text.h"

#include <algorithm>

#include "softtoken/crypto/text_encoding.h"

namespace velm::token {
namespace {

// A character of four bytes in GB18030 counts as two characters of two bytes. A stray byte counts as one; it
// fails to convert.
size_t gbk_character_length(std::string_view text) {
  const auto at = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
  return at(0) > 0x80 && text.size() > 1 && at(1) >= 0x30 ? 2 : 1;
}

// The end of a literal: its closing quotation mark, a malformed character, or the end of the JSON text.
struct LiteralEnd {
  size_t at;
  bool closed;
};

template <typename CharacterLength>
LiteralEnd end_of_literal(std::string_view json, size_t at, CharacterLength character_length) {
  while (at < json.size() && json[at] != '"') {
    if (json[at] == '\\' && ++at == json.size()) break;
    const size_t length = character_length(json.substr(at));
    if (length == 0) return {at, false};
    at += length;
  }
  return {at, at < json.size()};
}

void append_gbk(SecretText& target, std::string_view text) {
  auto utf8 = gbk_to_utf8(text);
  if (!utf8) {
    target.append(text);
    return;
  }
  const WipeAtEnd wiped(*utf8);
  target.append(*utf8);
}

}  // namespace

ContainerName read_name(std::string_view received) {
  ContainerName name(utf8_of(received));
  const bool ascii = std::ranges::all_of(received, [](char c) { return static_cast<uint8_t>(c) < 0x80; });
  if (!ascii) name.second_reading = gbk_to_utf8(received).value_or(std::string());
  return name;
}

Pin read_pin(ByteView received) {
  std::string utf8 = utf8_of({reinterpret_cast<const char*>(received.data()), received.size()});
  const WipeAtEnd wiped(utf8);
  return {secret_copy(as_bytes(utf8)), received.size()};
}

SecretText utf8_json(std::string_view json) {
  SecretText utf8;
  utf8.reserve(json.size());
  size_t malformed = 0;
  for (size_t at = 0; at < json.size();) {
    const size_t begin = std::min(json.find('"', at), json.size() - 1) + 1;
    utf8.append(json.substr(at, begin - at));
    if (begin == json.size()) break;
    // A literal that begins before the malformed character found last contains it: the opening quotation mark
    // was an escaped character on the way there. Skipping what was read keeps the time linear.
    LiteralEnd end{malformed, false};
    if (begin >= malformed) end = end_of_literal(json, begin, utf8_character_length);
    if (end.closed) {
      utf8.append(json.substr(begin, end.at - begin));
    } else {
      malformed = end.at;
      end = end_of_literal(json, begin, gbk_character_length);
      append_gbk(utf8, json.substr(begin, end.at - begin));
    }
    at = end.at;
    if (end.closed) utf8.push_back(json[at++]);
  }
  return utf8;
}

}  // namespace velm::token

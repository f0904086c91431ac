#include "softtoken/service/frame.h"

#include "softtoken/crypto/token_error.h"

namespace velm::token {
namespace {

void append_number(std::string& text, uint32_t number) {
  for (unsigned shift = 0; shift < 32; shift += 8) text += static_cast<char>(number >> shift & 0xFF);
}

}  // namespace

ByteView FrameReader::take(size_t count) {
  if (count > rest_.size()) throw TokenError(kBadLength);
  const ByteView taken = rest_.first(count);
  rest_ = rest_.subspan(count);
  return taken;
}

uint32_t FrameReader::number() {
  const ByteView four = take(4);
  return uint32_t{four[0]} | uint32_t{four[1]} << 8 | uint32_t{four[2]} << 16 | uint32_t{four[3]} << 24;
}

ByteView FrameReader::bytes() { return take(number()); }

std::string FrameReader::text() {
  const std::string text = as_text(bytes());
  const size_t end = text.find('\0');
  if (end == std::string::npos) throw TokenError(kBadInput);
  return text.substr(0, end);
}

void FrameReader::expect_end() const {
  if (!rest_.empty()) throw TokenError(kBadLength);
}

std::string frame_answer(uint32_t code) {
  std::string answer;
  append_number(answer, code);
  return answer;
}

std::string frame_answer(ByteView data) {
  std::string answer;
  answer.reserve(data.size() + kFrameHeaderSize);
  append_number(answer, kSuccess);
  append_number(answer, static_cast<uint32_t>(data.size()));
  answer.append(reinterpret_cast<const char*>(data.data()), data.size());
  return answer;
}

}  // namespace velm::token

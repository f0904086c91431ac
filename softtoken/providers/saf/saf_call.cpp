#include "softtoken/providers/saf/saf_call.h"

#include <algorithm>
#include <limits>

namespace velm::token {

using namespace protocol;

ByteView input_bytes(const uint8_t* data, uint32_t length) {
  require_saf(data != nullptr || length == 0, kSafBadInput);
  return {data, length};
}

ByteView required_bytes(const uint8_t* data, uint32_t length) {
  require_saf(data != nullptr, kSafBadInput);
  require_saf(length != 0, kSafBadLength);
  return {data, length};
}

std::string required_text(const char* text, uint32_t length) {
  return as_text(required_bytes(reinterpret_cast<const uint8_t*>(text), length));
}

std::string required_text(const char* text) {
  require_saf(text != nullptr && *text != '\0', kSafBadInput);
  return text;
}

void deliver(ByteView result, void* output, uint32_t* output_length) {
  require_saf(output_length != nullptr, kSafBadInput);
  require_saf(result.size() <= std::numeric_limits<uint32_t>::max(), kSafBadLength);
  const auto length = static_cast<uint32_t>(result.size());
  if (output != nullptr) {
    require_saf(*output_length >= length, kSafBadLength);
    std::ranges::copy(result, static_cast<uint8_t*>(output));
  }
  *output_length = length;
}

}  // namespace velm::token

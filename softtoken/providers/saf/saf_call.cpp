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
  if (deliver_size(result.size(), output, output_length))
    std::ranges::copy(result, static_cast<uint8_t*>(output));
}

bool deliver_size(uint64_t size, const void* output, uint32_t* output_length) {
  require_saf(output_length != nullptr, kSafBadInput);
  require_saf(size <= std::numeric_limits<uint32_t>::max(), kSafBadLength);
  require_saf(output == nullptr || *output_length >= size, kSafBadLength);
  *output_length = static_cast<uint32_t>(size);
  return output != nullptr;
}

}  // namespace velm::token

#include <algorithm>
#include <new>

#include "modules/velm_client_saf.h"
#include "softtoken/core/base64.h"
#include "softtoken/modules/saf_codes.h"

namespace {

using velm::token::ByteView;

// A null output asks for the size; a capacity that is too small is refused and nothing is written.
uint32_t deliver(ByteView result, uint8_t* output, uint32_t* output_length) {
  const auto length = static_cast<uint32_t>(result.size());
  if (output != nullptr) {
    if (*output_length < length) return kSafBadLength;
    std::ranges::copy(result, output);
  }
  *output_length = length;
  return kSafSuccess;
}

}  // namespace

uint32_t SAF_Base64_Encode(
    const uint8_t* input, uint32_t input_length, uint8_t* output, uint32_t* output_length) try {
  if (input == nullptr || output_length == nullptr) return kSafBadInput;
  const std::string text = velm::token::base64_encode({input, input_length});
  return deliver(velm::token::as_bytes(text), output, output_length);
} catch (const std::bad_alloc&) {
  return kSafNoMemory;
}

uint32_t SAF_Base64_Decode(
    const uint8_t* input, uint32_t input_length, uint8_t* output, uint32_t* output_length) try {
  if (input == nullptr || output_length == nullptr) return kSafBadInput;
  const auto bytes = velm::token::base64_decode({reinterpret_cast<const char*>(input), input_length});
  return bytes ? deliver(*bytes, output, output_length) : kSafBadInput;
} catch (const std::bad_alloc&) {
  return kSafNoMemory;
}

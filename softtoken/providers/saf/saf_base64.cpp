#include "provider_abi/velm_client_saf.h"
#include "softtoken/crypto/base64.h"
#include "softtoken/providers/saf/saf_call.h"

using namespace velm::protocol;
using namespace velm::token;

uint32_t SAF_Base64_Encode(const uint8_t* input, uint32_t input_length, uint8_t* output,
                           uint32_t* output_length) {
  return saf_call([&] {
    require_saf(input != nullptr, kSafBadInput);
    if (deliver_size(base64_length(input_length), output, output_length))
      base64_encode({input, input_length}, reinterpret_cast<char*>(output));
  });
}

uint32_t SAF_Base64_Decode(const uint8_t* input, uint32_t input_length, uint8_t* output,
                           uint32_t* output_length) {
  return saf_call([&] {
    require_saf(input != nullptr, kSafBadInput);
    const std::string_view text(reinterpret_cast<const char*>(input), input_length);
    const bool fits = output_length != nullptr && *output_length >= base64_decoded_length(text);
    const auto length = base64_decode(text, fits ? output : nullptr);
    require_saf(length.has_value(), kSafBadInput);
    deliver_size(*length, output, output_length);
  });
}

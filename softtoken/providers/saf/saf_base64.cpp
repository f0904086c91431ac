#include "provider_abi/velm_client_saf.h"
#include "softtoken/crypto/base64.h"
#include "softtoken/providers/saf/saf_call.h"

using namespace velm::protocol;
using namespace velm::token;

uint32_t SAF_Base64_Encode(const uint8_t* input, uint32_t input_length, uint8_t* output,
                           uint32_t* output_length) {
  return saf_call([&] {
    require_saf(input != nullptr, kSafBadInput);
    deliver(as_bytes(base64_encode({input, input_length})), output, output_length);
  });
}

uint32_t SAF_Base64_Decode(const uint8_t* input, uint32_t input_length, uint8_t* output,
                           uint32_t* output_length) {
  return saf_call([&] {
    require_saf(input != nullptr, kSafBadInput);
    const auto bytes = base64_decode({reinterpret_cast<const char*>(input), input_length});
    require_saf(bytes.has_value(), kSafBadInput);
    deliver(*bytes, output, output_length);
  });
}

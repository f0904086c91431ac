#include "provider_abi/velm_openssl_api.h"
#include "softtoken/crypto/base64.h"
#include "softtoken/providers/openssl_api/openssl_api_call.h"

using namespace velm::token;

namespace {

// The base64 text of a longer input has a length that does not fit in 32 bits.
constexpr uint32_t kLongestInput = UINT32_MAX / 4 * 3;

}  // namespace

int32_t VELM_Openssl_Base64Encode(const uint8_t* input, uint32_t input_length, uint8_t* output,
                                  uint32_t* output_length) {
  return api_call([&] {
    if ((input == nullptr && input_length != 0) || output == nullptr || output_length == nullptr)
      return kApiBadInput;
    if (input_length > kLongestInput) return kApiBadInput;
    base64_encode({input, input_length}, reinterpret_cast<char*>(output));
    *output_length = static_cast<uint32_t>(base64_length(input_length));
    return kApiSuccess;
  });
}

int32_t VELM_Openssl_Base64Decode(const uint8_t* input, uint32_t input_length, uint8_t* output,
                                  uint32_t* output_length) {
  return api_call([&] {
    if ((input == nullptr && input_length != 0) || output == nullptr || output_length == nullptr)
      return kApiBadInput;
    const auto length = base64_decode({reinterpret_cast<const char*>(input), input_length}, output);
    if (!length) return kApiBadInput;
    *output_length = static_cast<uint32_t>(*length);
    return kApiSuccess;
  });
}

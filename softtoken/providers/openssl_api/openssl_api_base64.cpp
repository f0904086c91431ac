#include <algorithm>

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
    const std::string text = base64_encode({input, input_length});
    std::ranges::copy(text, output);
    *output_length = static_cast<uint32_t>(text.size());
    return kApiSuccess;
  });
}

int32_t VELM_Openssl_Base64Decode(const uint8_t* input, uint32_t input_length, uint8_t* output,
                                  uint32_t* output_length) {
  return api_call([&] {
    if ((input == nullptr && input_length != 0) || output == nullptr || output_length == nullptr)
      return kApiBadInput;
    const auto bytes = base64_decode({reinterpret_cast<const char*>(input), input_length});
    if (!bytes) return kApiBadInput;
    std::ranges::copy(*bytes, output);
    *output_length = static_cast<uint32_t>(bytes->size());
    return kApiSuccess;
  });
}

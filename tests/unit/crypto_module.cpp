#include "crypto_module.h"

#include <cstring>
#include <string>

namespace velm::test {

Encoder encoder = plain_encoder;

int32_t plain_encoder(const uint8_t* data, uint32_t length, uint8_t* text, uint32_t* text_length) {
  const std::string encoded = "<" + std::string(reinterpret_cast<const char*>(data), length) + ">";
  encoded.copy(reinterpret_cast<char*>(text), encoded.size());
  *text_length = static_cast<uint32_t>(encoded.size());
  return 0;
}

Encoder encoder_that(int32_t result, const char* text, uint32_t claimed) {
  return [=](const uint8_t*, uint32_t, uint8_t* output, uint32_t* output_length) {
    std::strcpy(reinterpret_cast<char*>(output), text);
    *output_length = claimed;
    return result;
  };
}

}  // namespace velm::test

extern "C" int32_t VELM_Openssl_Base64Encode(const uint8_t* input, uint32_t length, uint8_t* output,
                                             uint32_t* output_length) {
  return velm::test::encoder(input, length, output, output_length);
}

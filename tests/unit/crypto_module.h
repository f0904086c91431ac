// The crypto module's base64 encoder, as scripted by these tests.
#pragma once

#include <cstdint>
#include <functional>

namespace velm::test {

using Encoder =
    std::function<int32_t(const uint8_t* data, uint32_t length, uint8_t* text, uint32_t* text_length)>;

// The implementation of VELM_Openssl_Base64Encode; tests may replace it.
extern Encoder encoder;

// Writes "<" data ">" instead of base64.
int32_t plain_encoder(const uint8_t* data, uint32_t length, uint8_t* text, uint32_t* text_length);

// Returns `result`, writes `text` and reports `claimed` as its length.
Encoder encoder_that(int32_t result, const char* text, uint32_t claimed);

}  // namespace velm::test

// The crypto module's base64 encoder, as these tests play it.
#pragma once

#include <cstdint>
#include <functional>

namespace velm::test {

using Encoder =
    std::function<int32_t(const uint8_t* data, uint32_t length, uint8_t* text, uint32_t* text_length)>;

// What VELM_Openssl_Base64Encode does, until another is put in its place.
extern Encoder encoder;

// Writes "<" data ">" in place of base64.
int32_t plain_encoder(const uint8_t* data, uint32_t length, uint8_t* text, uint32_t* text_length);

// Succeeds or fails with `result`, with `text` written and `claimed` said to be its length.
Encoder encoder_that(int32_t result, const char* text, uint32_t claimed);

}  // namespace velm::test

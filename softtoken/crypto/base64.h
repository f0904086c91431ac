#pragma once

#include <optional>

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** Length of the base64 text of `size` bytes. */
constexpr size_t base64_length(size_t size) { return (size + 2) / 3 * 4; }

/**
 * Encodes with the standard alphabet and padding, without line breaks (RFC 4648 section 4). The first form
 * writes base64_length() characters, without a terminating NUL, to `text`, which must not overlap `bytes`.
 */
void base64_encode(ByteView bytes, char* text);
std::string base64_encode(ByteView bytes);

/** Length of the bytes that the text encodes, if it is base64. */
size_t base64_decoded_length(std::string_view text);

/**
 * Decodes padded base64 and ignores line breaks; returns nullopt if the text is not base64. The first form
 * returns the length, writes nothing if the text is not base64, and may decode in place. With null, it only
 * checks the text.
 */
std::optional<size_t> base64_decode(std::string_view text, uint8_t* bytes);
std::optional<Bytes> base64_decode(std::string_view text);

}  // namespace velm::token

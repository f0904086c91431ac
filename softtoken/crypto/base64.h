#pragma once

#include <optional>

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** Encodes with the standard alphabet and padding, without line breaks (RFC 4648 section 4). */
std::string base64_encode(ByteView bytes);

/** Decodes padded base64 and ignores line breaks; returns nullopt if the text is not base64. */
std::optional<Bytes> base64_decode(std::string_view text);

}  // namespace velm::token

#pragma once

#include <optional>

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** Standard alphabet, padded, in one line (RFC 4648, section 4). */
std::string base64_encode(ByteView bytes);

/** The bytes of a padded text; line breaks are skipped. Nothing when the text is not base64. */
std::optional<Bytes> base64_decode(std::string_view text);

}  // namespace velm::token

#pragma once

#include <string_view>

#include "softtoken/store/client_text.h"

namespace velm::token {

// Text of requests and of command lines arrives in UTF-8 or GBK. These functions convert it; all other code
// of the token uses UTF-8 only. Text in neither encoding is left as it is.

/** Reads a container name; the second reading is that of its bytes as GBK. */
ContainerName read_name(std::string_view received);
/** Reads a PIN. */
Pin read_pin(ByteView received);

/**
 * Converts a JSON text, in which each string literal may be in UTF-8 or GBK. A literal that is valid UTF-8 up
 * to its closing quotation mark is left as it is; any other is read as GBK, where the second byte of a
 * character can be a backslash.
 */
SecretText utf8_json(std::string_view json);

}  // namespace velm::token

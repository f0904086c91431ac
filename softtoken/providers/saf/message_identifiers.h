#pragma once

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** The object identifiers that the SM2 signed message will have. */
enum class IdentifierFamily : uint32_t { gm_t_0010 = 0, international = 1 };

/**
 * Replaces the content types of an SM2 signed message with those of the other family (GM/T 0010 or PKCS#7).
 * Signatures over signed attributes do not cover these identifiers, except in the content-type attribute,
 * which is not changed.
 */
Bytes replace_message_identifiers(IdentifierFamily family, ByteView message);

}  // namespace velm::token

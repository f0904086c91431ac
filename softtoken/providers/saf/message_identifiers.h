#pragma once

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** Which object identifiers the SM2 signed message is to carry afterwards. */
enum class IdentifierFamily : uint32_t { gm_t_0010 = 0, international = 1 };

/**
 * An SM2 signed message with the content types of GM/T 0010 or of PKCS#7 in the places where the other
 * family's stand. Signatures over signed attributes do not cover these identifiers, except the content type
 * attribute, which stays.
 */
Bytes replace_message_identifiers(IdentifierFamily family, ByteView message);

}  // namespace velm::token

#pragma once

#include <functional>

#include "softtoken/crypto/authority.h"

namespace velm::token {

/** Returns the certificate and key of the time-stamp authority (TSA) for a key type. */
using StampAuthorityFinder = std::function<Authority(KeyKind)>;

/**
 * Returns the TimeStampResp for a TimeStampReq (RFC 3161); a rejection is a status in the response. Imprints
 * with SM3 are signed with SM2, all others with RSA. Serial numbers are random.
 */
Bytes time_stamp_answer(ByteView query, const StampAuthorityFinder& authority_of);

}  // namespace velm::token

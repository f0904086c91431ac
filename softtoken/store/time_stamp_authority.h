#pragma once

#include "softtoken/store/user_data.h"

namespace velm::token {

/** The authority's certificates are kept as labels too, so that whoever verifies a stamp can read them. */
constexpr const char* kStampAuthorityLabel = "TIME_STAMP_AUTHORITY";
constexpr const char* kSm2StampAuthorityLabel = "TIME_STAMP_AUTHORITY_SM2";

/** Makes the authority's keys and certificates, RSA and SM2, in a store that has none yet. */
void prepare_time_stamp_authority(Store& store);

/**
 * The answer to a query of RFC 3161: what is hashed with SM3 is signed with SM2, anything else with RSA. A
 * query that cannot be served is refused in the answer.
 */
Bytes answer_time_stamp_query(Store& store, ByteView query);

}  // namespace velm::token

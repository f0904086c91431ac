#pragma once

#include "softtoken/core/store.h"

namespace velm::token {

/** The authority's certificate is kept as this label too, so that whoever verifies a stamp can read it. */
constexpr const char* kStampAuthorityLabel = "TIME_STAMP_AUTHORITY";
constexpr uint32_t kCertificateLabelType = 7;

/** Makes the authority's key and certificate in a store that has none yet. */
void prepare_time_stamp_authority(Store& store);

/** The answer to a query of RFC 3161; a query that cannot be served is refused in the answer. */
Bytes answer_time_stamp_query(Store& store, ByteView query);

}  // namespace velm::token

#pragma once

#include "softtoken/store/user_data.h"

namespace velm::token {

/** Labels that contain the certificates of the time-stamp authority (TSA), for clients that verify tokens. */
constexpr const char* kTimeStampAuthorityLabel = "TIME_STAMP_AUTHORITY";
constexpr const char* kSm2TimeStampAuthorityLabel = "TIME_STAMP_AUTHORITY_SM2";

/** Creates the keys and certificates of the TSA, RSA and SM2, unless the store contains them. */
void prepare_time_stamp_authority(Store& store);

/** Returns time_stamp_answer() with the keys of the store, which it creates if necessary. */
Bytes answer_time_stamp_query(Store& store, ByteView query);

}  // namespace velm::token

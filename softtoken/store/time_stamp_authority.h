#pragma once

#include "protocol/identifiers.h"
#include "softtoken/store/user_data.h"

namespace velm::token {

/** Labels that contain the certificates of the time-stamp authority (TSA), for clients that verify tokens. */
using protocol::kSm2TimeStampAuthorityLabel;
using protocol::kTimeStampAuthorityLabel;

/** Creates the keys and certificates of the TSA, RSA and SM2, unless the store contains them. */
void prepare_time_stamp_authority(Store& store);

/** Returns time_stamp_answer() with the keys of the store, which it creates if necessary. */
Bytes answer_time_stamp_query(Store& store, ByteView query);

}  // namespace velm::token

#pragma once

#include <string_view>

#include "softtoken/service/request_rules.h"

namespace velm::token {

/** Calls with larger bodies take milliseconds to seconds. */
inline constexpr size_t kSmallBody = 65536;

/**
 * Whether a call may take so long that it would delay other connections: it has a large body, checks a PIN,
 * writes to the store or generates much random data. Only looks for the function number: a wrong guess delays
 * other calls, but changes no result.
 */
bool takes_long(const RequestHead& head, std::string_view body);

}  // namespace velm::token

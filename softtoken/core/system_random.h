#pragma once

#include "softtoken/core/bytes.h"

namespace velm::token {

/** Random bytes from the operating system's generator. */
Bytes system_random(size_t count);

}  // namespace velm::token

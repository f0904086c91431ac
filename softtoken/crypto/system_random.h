#pragma once

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** Random bytes from the operating system's generator. */
Bytes system_random(size_t count);

}  // namespace velm::token

#pragma once

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** Returns random bytes from the operating system; throws kRandomFailed. */
Bytes system_random(size_t count);

}  // namespace velm::token

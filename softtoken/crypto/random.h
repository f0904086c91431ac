#pragma once

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** Fills the buffer with random bytes of OpenSSL's generator; throws kRandomFailed. */
void fill_random(std::span<uint8_t> bytes);

/** Returns random bytes; throws kRandomFailed. */
Bytes random_bytes(size_t count);

}  // namespace velm::token

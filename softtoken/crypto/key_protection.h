#pragma once

#include "softtoken/crypto/secret.h"

namespace velm::token {

constexpr size_t kSaltSize = 16;

/** The 32-byte key that a PIN gives: scrypt (RFC 7914) with N = 16384, r = 8, p = 1. */
SecretBytes pin_key(ByteView pin, ByteView salt);

/**
 * AES-256-GCM: nonce, cipher text and tag in one block. `purpose` is authenticated with it, so that a block
 * cannot stand in for another.
 */
Bytes wrap(ByteView key, std::string_view purpose, ByteView plain);

/** The plain text; throws the code for a wrong PIN for another key or purpose, or a changed block. */
SecretBytes unwrap(ByteView key, std::string_view purpose, ByteView block);

}  // namespace velm::token

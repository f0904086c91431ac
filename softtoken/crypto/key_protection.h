#pragma once

#include "softtoken/crypto/secret.h"

namespace velm::token {

constexpr size_t kSaltSize = 16;

/** Derives a 32-byte key from a PIN: scrypt (RFC 7914) with N = 16384, r = 8, p = 1. */
SecretBytes pin_key(ByteView pin, ByteView salt);

/**
 * Encrypts with AES-256-GCM; returns nonce, ciphertext and tag. `purpose` is additional authenticated data,
 * so that blocks cannot be swapped.
 */
Bytes wrap(ByteView key, std::string_view purpose, ByteView plain);

/** Decrypts; throws kWrongPin if the key or the purpose differs or the block was modified. */
SecretBytes unwrap(ByteView key, std::string_view purpose, ByteView block);

}  // namespace velm::token

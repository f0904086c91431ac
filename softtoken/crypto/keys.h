#pragma once

#include "softtoken/crypto/openssl_handles.h"
#include "softtoken/crypto/secret.h"

namespace velm::token {

enum class KeyKind { rsa, sm2 };

Key generate_sm2_key();
Key generate_rsa_key(unsigned bits);
/** Generates a key pair; SM2 ignores `rsa_bits`. */
Key generate_key(KeyKind kind, unsigned rsa_bits);

/** Throws kAlgorithmUnsupported if the key is neither RSA nor SM2. */
KeyKind kind_of(const EVP_PKEY* key);
unsigned bits_of(const EVP_PKEY* key);

/** PKCS#8, unencrypted. */
SecretBytes private_key_der(const EVP_PKEY* key);
/** Throws kBadInput. */
Key private_key_from_der(ByteView der);

/** Encodes a public key: RSAPublicKey (PKCS#1) for RSA, the uncompressed point (65 bytes) for SM2. */
Bytes public_key_bytes(const EVP_PKEY* key);

/**
 * Decodes a public key from a certificate, a SubjectPublicKeyInfo or the output of public_key_bytes(). Throws
 * kBadInput if it is none of these, kAlgorithmUnsupported if the key is neither RSA nor SM2.
 */
Key public_key_from(ByteView bytes);

}  // namespace velm::token

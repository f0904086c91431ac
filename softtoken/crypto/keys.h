#pragma once

#include "softtoken/crypto/openssl_handles.h"
#include "softtoken/crypto/secret.h"

namespace velm::token {

enum class KeyKind { rsa, sm2 };

Key generate_sm2_key();
Key generate_rsa_key(unsigned bits);
/** A key of one kind; SM2 keys have no choice of length. */
Key generate_key(KeyKind kind, unsigned rsa_bits);

/** Throws the code for an unsupported algorithm when the key is neither RSA nor SM2. */
KeyKind kind_of(const EVP_PKEY* key);
unsigned bits_of(const EVP_PKEY* key);

/** PKCS#8, unencrypted. */
SecretBytes private_key_der(const EVP_PKEY* key);
Key private_key_from_der(ByteView der);

/** A public key as the interface carries it: PKCS#1 for RSA, the uncompressed point (65 bytes) for SM2. */
Bytes public_key_bytes(const EVP_PKEY* key);

/** A public key from a certificate, from its SubjectPublicKeyInfo, or as public_key_bytes() gives it. */
Key public_key_from(ByteView bytes);

}  // namespace velm::token

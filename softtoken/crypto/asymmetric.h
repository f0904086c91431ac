#pragma once

#include "softtoken/crypto/keys.h"
#include "softtoken/crypto/secret.h"

namespace velm::token {

/** Encrypts with RSA PKCS#1 v1.5 or SM2 (DER ciphertext of GM/T 0009); throws kEncryptFailed. */
Bytes encrypt_with_key(EVP_PKEY* key, ByteView plain);
/**
 * The inverse; throws kDecryptFailed. Implicit rejection: a wrong RSA key may still return (random) bytes.
 */
SecretBytes decrypt_with_key(EVP_PKEY* key, ByteView cipher);

}  // namespace velm::token

#pragma once

#include "softtoken/crypto/keys.h"
#include "softtoken/crypto/secret.h"

namespace velm::token {

/** RSA PKCS#1 v1.5, or SM2 with the cipher text of GM/T 0009 (DER). */
Bytes encrypt_with_key(EVP_PKEY* key, ByteView plain);
SecretBytes decrypt_with_key(EVP_PKEY* key, ByteView cipher);

}  // namespace velm::token

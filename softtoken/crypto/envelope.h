#pragma once

#include "softtoken/crypto/keys.h"
#include "softtoken/crypto/secret.h"

namespace velm::token {

/**
 * A digital envelope for one recipient: PKCS#7 for RSA, the same structure with the identifiers of GM/T 0010
 * for SM2. The content is encrypted with SM4 in CBC mode under a fresh key.
 */
Bytes make_envelope(X509* recipient, ByteView plain);

/** One who may be able to open an envelope. */
struct Opener {
  const X509* certificate;
  EVP_PKEY* key;
};

/**
 * The content of an envelope, opened with whichever of the openers it names. Throws the code for a bad
 * encoding, for an envelope that names none of them, or for one that does not open.
 */
SecretBytes open_envelope(std::span<const Opener> openers, ByteView envelope);

}  // namespace velm::token

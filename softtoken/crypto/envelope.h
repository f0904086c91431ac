#pragma once

#include "softtoken/crypto/keys.h"
#include "softtoken/crypto/secret.h"

namespace velm::token {

/** Encodes a digital envelope (CMS EnvelopedData) for one recipient with write_envelope() and SM4-CBC. */
Bytes make_envelope(X509* recipient, ByteView plain);

/** A certificate and its private key that may open a digital envelope. */
struct Opener {
  const X509* certificate;
  EVP_PKEY* key;
};

/**
 * Decrypts with the first recipient that matches an opener. Throws kPkcs7Format if the encoding is invalid,
 * kKeyMismatch if no recipient matches, kAlgorithmUnsupported for an unknown content cipher, and
 * kEnvelopeOpenFailed if decryption fails.
 */
SecretBytes open_envelope(std::span<const Opener> openers, ByteView envelope);

}  // namespace velm::token

#pragma once

#include "softtoken/crypto/byte_stream.h"
#include "softtoken/crypto/openssl_handles.h"
#include "softtoken/crypto/secret.h"

namespace velm::token {

/** A recipient of a digital envelope. */
struct EnvelopeRecipient {
  const PKCS7_ISSUER_AND_SERIAL* name;
  ByteView encrypted_key;
};

/** The recipients; valid while `set` exists. */
std::vector<EnvelopeRecipient> recipients_in(const STACK_OF(PKCS7_RECIP_INFO) * set);

/** Selects a recipient whose private key is available and returns the content key. */
using ContentKeyFinder = std::function<SecretBytes(std::span<const EnvelopeRecipient> recipients)>;

/**
 * Decrypts a digital envelope of `length` bytes in constant memory. Throws kEnvelopeOpenFailed for encodings
 * that it does not support; open_envelope() accepts some of them, such as indefinite lengths and ciphers in
 * other modes than CBC. Throws kDamaged for lengths that contradict each other, kPkcs7Format for a malformed
 * AlgorithmIdentifier, kKeyMismatch for a content key of the wrong length, kBadLength for an IV of the wrong
 * length, and kWrongPadding.
 */
void read_envelope(const ByteSource& envelope, uint64_t length, const ContentKeyFinder& find_key,
                   const ByteSink& plain);

}  // namespace velm::token

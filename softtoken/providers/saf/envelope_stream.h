#pragma once

#include <functional>

#include "softtoken/crypto/keys.h"
#include "softtoken/crypto/secret.h"
#include "softtoken/providers/saf/file_stream.h"

namespace velm::token {

/**
 * Encrypts a file into a digital envelope for one recipient, in constant memory. The structure is PKCS#7; for
 * SM2 it has the identifiers of GM/T 0010. `method` is an algorithm identifier of GM/T 0006 in CBC mode.
 */
void encode_envelope(const std::string& plain_path, X509* recipient, uint32_t method, OutputFile& envelope);

/** A recipient of a digital envelope. */
struct EnvelopeRecipient {
  const PKCS7_ISSUER_AND_SERIAL* name;
  ByteView encrypted_key;
};

/** Selects a recipient whose private key is available and returns the content key. */
using ContentKeyFinder = std::function<SecretBytes(std::span<const EnvelopeRecipient> recipients)>;

/**
 * Opens a digital envelope in constant memory. Throws kSafEnvelopeNotOpened for encodings that it does not
 * support, such as indefinite lengths or recipients not identified by issuer and serial number.
 */
void decode_envelope(const std::string& envelope_path, const ContentKeyFinder& find_key, OutputFile& plain);

}  // namespace velm::token

#pragma once

#include <functional>

#include "softtoken/crypto/keys.h"
#include "softtoken/crypto/secret.h"
#include "softtoken/providers/saf/file_stream.h"

namespace velm::token {

/**
 * Puts a file into a digital envelope for one recipient, in constant memory: PKCS#7 for RSA, the same
 * structure with the identifiers of GM/T 0010 for SM2. `method` is an algorithm identifier of GM/T 0006 in
 * CBC mode.
 */
void encode_envelope(const std::string& plain_path, X509* recipient, uint32_t method, OutputFile& envelope);

/** An entry of the envelope for one recipient. */
struct EnvelopeRecipient {
  const PKCS7_ISSUER_AND_SERIAL* name;
  ByteView encrypted_key;
};

/** Finds, among an envelope's recipients, one whose key can be had, and gives the content key. */
using ContentKeyFinder = std::function<SecretBytes(std::span<const EnvelopeRecipient> recipients)>;

/**
 * Opens an envelope in constant memory. Throws the code for an envelope that is not opened here when its
 * encoding has lengths that are known only at their end, or anything else than an issuer and serial number to
 * name a recipient.
 */
void decode_envelope(const std::string& envelope_path, const ContentKeyFinder& find_key, OutputFile& plain);

}  // namespace velm::token

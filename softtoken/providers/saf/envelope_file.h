#pragma once

#include "softtoken/crypto/envelope_reader.h"
#include "softtoken/providers/saf/file_stream.h"

namespace velm::token {

/**
 * Encrypts a file into a digital envelope for one recipient, in constant memory. `method` is an algorithm
 * identifier of GM/T 0006 in CBC mode.
 */
void encode_envelope_file(const std::string& plain_path, X509* recipient, uint32_t method,
                          OutputFile& envelope);

/**
 * Opens a digital envelope in constant memory. Throws kSafEnvelopeNotOpened for encodings that require the
 * in-memory decoder of the local service.
 */
void decode_envelope_file(const std::string& envelope_path, const ContentKeyFinder& find_key,
                          OutputFile& plain);

}  // namespace velm::token

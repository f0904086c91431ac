#pragma once

#include "softtoken/crypto/signing.h"
#include "softtoken/providers/saf/file_stream.h"

namespace velm::token {

/** What stands before the data when SM3 covers the signer too: the value Z of GM/T 0009. */
Bytes signer_prefix(const EVP_PKEY* key, ByteView id);

/**
 * What a signature by a key covers in front of the data itself: the signer's value Z for SM2 (an empty ID
 * stands for the default one), nothing for RSA.
 */
Bytes signed_prefix(const EVP_PKEY* key, ByteView id);

/** The hash value that a signature over data has: for SM2 it covers the signer's key and the default ID. */
Bytes signed_hash_of(X509* signer, DigestId digest, ByteView data);

/** A hash over a prefix and data, or a file of any size. */
Bytes hash_with_prefix(DigestId digest, ByteView prefix, ByteView data);
Bytes hash_file(DigestId digest, ByteView prefix, const std::string& path);

}  // namespace velm::token

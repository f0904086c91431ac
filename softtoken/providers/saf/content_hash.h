#pragma once

#include "softtoken/crypto/signing.h"
#include "softtoken/providers/saf/file_stream.h"

namespace velm::token {

/** The value Z of GM/T 0009, which SM3 hashes before the data to cover the signer's key and user ID. */
Bytes signer_prefix(const EVP_PKEY* key, ByteView id);

/**
 * What a signature covers before the data: Z for SM2, nothing for RSA. An empty user ID selects the default
 * one.
 */
Bytes signed_prefix(const EVP_PKEY* key, ByteView id);

/** The hash value that a signature over `data` covers. For SM2 it includes Z with the default user ID. */
Bytes signed_hash_of(X509* signer, DigestId digest, ByteView data);

/** Hash over a prefix followed by data, or by a file of any size. */
Bytes hash_with_prefix(DigestId digest, ByteView prefix, ByteView data);
Bytes hash_file(DigestId digest, ByteView prefix, const std::string& path);

}  // namespace velm::token

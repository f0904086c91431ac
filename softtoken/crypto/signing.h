#pragma once

#include "protocol/identifiers.h"
#include "softtoken/crypto/keys.h"

namespace velm::token {

/** Digest algorithm identifiers of GM/T 0006. */
enum class DigestId : uint32_t {
  sm3 = protocol::kSm3,
  sha1 = protocol::kSha1,
  sha256 = protocol::kSha256,
};

const EVP_MD* digest_of(DigestId id);
/** The inverse; throws kAlgorithmUnsupported for null and for any other digest. */
DigestId digest_id_of(const EVP_MD* digest);
/** SM3 for SM2, SHA-1 for RSA keys of up to 1,024 bits, SHA-256 for longer RSA keys. */
DigestId digest_for(const EVP_PKEY* key);

Bytes hash(DigestId id, ByteView data);

/**
 * Returns a context for EVP_DigestSign(); SM2 uses the default user ID. Throws kAlgorithmUnsupported if the
 * digest does not match the key type.
 */
DigestContext start_signing(EVP_PKEY* key, DigestId digest);

/** Signs data with SM2 (DER of GM/T 0009, default user ID) or RSA PKCS#1 v1.5; throws kSignFailed. */
Bytes sign_data(EVP_PKEY* key, DigestId digest, ByteView data);
/** Throws kVerifyFailed unless the signature is valid. */
void verify_data(EVP_PKEY* key, DigestId digest, ByteView data, ByteView signature);

/**
 * The same for a hash value; for SM2 it must already cover the user ID. Throws kBadLength unless the hash
 * value has the length of the digest.
 */
Bytes sign_hash(EVP_PKEY* key, DigestId digest, ByteView hash);
void verify_hash(EVP_PKEY* key, DigestId digest, ByteView hash, ByteView signature);

}  // namespace velm::token

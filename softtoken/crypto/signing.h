#pragma once

#include "protocol/identifiers.h"
#include "softtoken/crypto/keys.h"

namespace velm::token {

/** Digest algorithms by their identifiers in GM/T 0006. */
enum class DigestId : uint32_t {
  sm3 = protocol::kSm3,
  sha1 = protocol::kSha1,
  sha256 = protocol::kSha256,
};

const EVP_MD* digest_of(DigestId id);
/** The digest among those of DigestId; throws the code for an unsupported algorithm. */
DigestId digest_id_of(const EVP_MD* digest);
/** The digest that goes with a key: SM3 for SM2, SHA-1 for RSA up to 1,024 bits, SHA-256 for longer ones. */
DigestId digest_for(const EVP_PKEY* key);

Bytes hash(DigestId id, ByteView data);

/** What OpenSSL signs data with, by a key and the digest that goes with it; SM2 has the default signer ID. */
DigestContext start_signing(EVP_PKEY* key, DigestId digest);

/** SM2 (DER, GM/T 0009, default signer ID) or RSA PKCS#1 v1.5 over data. */
Bytes sign_data(EVP_PKEY* key, DigestId digest, ByteView data);
/** Throws the code for a signature that does not verify. */
void verify_data(EVP_PKEY* key, DigestId digest, ByteView data, ByteView signature);

/** The same over a hash value; for SM2 it is the hash that already covers the signer ID. */
Bytes sign_hash(EVP_PKEY* key, DigestId digest, ByteView hash);
void verify_hash(EVP_PKEY* key, DigestId digest, ByteView hash, ByteView signature);

}  // namespace velm::token

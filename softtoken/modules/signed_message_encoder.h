#pragma once

#include <functional>
#include <optional>

#include "softtoken/core/signing.h"

namespace velm::token {

/** What a signed message by one signer is made of; the signer's key stays with whoever signs. */
struct SignedMessageOrder {
  X509* signer;
  DigestId digest;
  /** Carried by the message; a message without it is detached. */
  std::optional<ByteView> content;
  /** The content's hash, as the message digest attribute; empty for a message without attributes. */
  Bytes content_hash;
};

/** A signature over a hash value. */
using HashSigner = std::function<Bytes(ByteView hash)>;

/**
 * The hash value that a message without signed attributes has signed: for SM2 it covers the signer's key and
 * the default ID.
 */
Bytes signed_hash_of(X509* signer, DigestId digest, ByteView content);

/**
 * The message: PKCS#7 for RSA, the same structure with the identifiers of GM/T 0010 for SM2. Without
 * attributes `signed_hash` is signed, with them their encoding.
 */
Bytes encode_signed_message(const SignedMessageOrder& order, ByteView signed_hash, const HashSigner& sign);

}  // namespace velm::token

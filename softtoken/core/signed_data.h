#pragma once

#include <optional>

#include "softtoken/core/keys.h"

namespace velm::token {

/**
 * A signed message over data by one signer: PKCS#7 for RSA, the same structure with the identifiers of GM/T
 * 0010 for SM2. It carries the signer's certificate and no signed attributes, and the data unless it is
 * detached.
 */
Bytes make_signed_message(EVP_PKEY* key, X509* certificate, ByteView data, bool detached);

/** What a signed message holds; its only or first signer. */
struct SignedMessage {
  std::optional<Bytes> content;
  Certificate signer;
  Bytes signature;
  /** The signed attributes as they were signed; empty when there are none. */
  Bytes signed_attributes;
  Bytes attribute_digest;
  const EVP_MD* digest = nullptr;
};

/** Throws the code for a bad encoding. */
SignedMessage parse_signed_message(ByteView message);

/**
 * Throws the code for a signature that does not verify. `data` is what a detached message signs; an attached
 * one must agree with it unless it is empty.
 */
void verify_signed_message(ByteView message, ByteView data);

}  // namespace velm::token

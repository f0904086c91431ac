#pragma once

#include <functional>
#include <optional>

#include "softtoken/crypto/signing.h"

namespace velm::token {

/** What a signed message by one signer is made of; the signer's key stays with whoever signs. */
struct SignedMessageOrder {
  X509* signer;
  DigestId digest;
  ByteView content;
  /** Whether the message does without its content. */
  bool detached = false;
  /** Content type, signing time and the content's digest, as attributes that are signed in its place. */
  bool attributes = false;
  /** The content is that of a time stamp (RFC 3161): an attribute names the signer's certificate too. */
  bool time_stamp = false;
};

/** A signature over data: the content, or the attributes in their encoding. */
using DataSigner = std::function<Bytes(ByteView data)>;

/**
 * A signed message with the signer's certificate: PKCS#7 for RSA, the same structure with the identifiers of
 * GM/T 0010 for SM2; a time stamp has those of CMS.
 */
Bytes encode_signed_message(const SignedMessageOrder& order, const DataSigner& sign);

/** The same, without attributes, signed by a key that is at hand, with the digest that goes with it. */
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

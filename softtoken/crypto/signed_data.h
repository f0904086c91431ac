#pragma once

#include <functional>
#include <optional>

#include "softtoken/crypto/signing.h"

namespace velm::token {

/** The parts of a signed message with one signer, except the private key: see DataSigner. */
struct SignedMessageOrder {
  X509* signer;
  DigestId digest;
  ByteView content;
  /** Omit the content from the message. */
  bool detached = false;
  /** Sign the attributes content type, signing time and message digest instead of the content. */
  bool attributes = false;
  /** The content is a TSTInfo (RFC 3161); with `attributes`, also sign ESSCertIDv2 (RFC 5816). */
  bool time_stamp = false;
};

/** Signs the content or the DER of the attributes. */
using DataSigner = std::function<Bytes(ByteView data)>;

/**
 * Encodes a signed message that contains the signing certificate: PKCS#7 for RSA, the same structure with the
 * object identifiers of GM/T 0010 for SM2, and with those of CMS for a time-stamp token.
 */
Bytes encode_signed_message(const SignedMessageOrder& order, const DataSigner& sign);

/**
 * The same without attributes, signed with `key` and digest_for(key). Throws kKeyMismatch if the certificate
 * is that of another key.
 */
Bytes make_signed_message(EVP_PKEY* key, X509* certificate, ByteView data, bool detached);

/** A parsed signed message with one signer. */
struct SignedMessage {
  /** Absent in a detached message. */
  std::optional<Bytes> content;
  Certificate signer;
  Bytes signature;
  /** DER of the signed attributes as covered by the signature; empty if there are none. */
  Bytes signed_attributes;
  Bytes attribute_digest;
  /** Null if OpenSSL does not know the algorithm. */
  const EVP_MD* digest = nullptr;
};

/**
 * Throws kPkcs7Format, also for a message without a signer or with several, and kCertificateNotFound if the
 * message lacks the signing certificate.
 */
SignedMessage parse_signed_message(ByteView message);

/**
 * Throws kVerifyFailed unless the signature is valid. `data` is the content of a detached message; if the
 * message has content, `data` must be empty or equal to it. Does not validate the certificate.
 */
void verify_signed_message(ByteView message, ByteView data);

}  // namespace velm::token

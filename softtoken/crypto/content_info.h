#pragma once

#include "softtoken/crypto/message_types.h"

namespace velm::token {

Object object_of(const char* oid);
Bytes object_der(const char* oid);
bool is_object(const ASN1_OBJECT* object, const char* oid);
/** Sets an AlgorithmIdentifier with NULL parameters; throws `code` on failure. */
void set_algorithm(X509_ALGOR* target, Object algorithm, ErrorCode code);

/** Encodes the beginning of a ContentInfo, up to its content of this size. */
Bytes content_info_head(const char* type, size_t content_size);

/** Encodes a ContentInfo. Its content is an OpenSSL object, which its i2d function encodes in place. */
template <typename T, typename Encoder>
Bytes wrap_content(const char* type, Encoder encode, T* content) {
  const int size = encode(content, nullptr);
  require(size > 0, kUnknownError);
  Bytes message = content_info_head(type, static_cast<size_t>(size));
  const size_t head = message.size();
  message.resize(head + static_cast<size_t>(size));
  uint8_t* end = message.data() + head;
  require(encode(content, &end) == size, kUnknownError);
  return message;
}

/** Returns the content of a ContentInfo with one of the two types; throws kPkcs7Format. */
Bytes unwrap_content(ByteView message, const char* pkcs7_type, const char* gm_type);

/** IssuerAndSerialNumber identifies a signer or a recipient. Returns false on failure. */
bool set_issuer_and_serial(PKCS7_ISSUER_AND_SERIAL* target, const X509* certificate);
bool names_certificate(const PKCS7_ISSUER_AND_SERIAL* name, const X509* certificate);

}  // namespace velm::token

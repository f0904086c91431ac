#pragma once

#include "softtoken/crypto/message_types.h"

namespace velm::token {

Object object_of(const char* oid);
bool is_object(const ASN1_OBJECT* object, const char* oid);
/** An algorithm with NULL as its parameter; throws `code` on failure. */
void set_algorithm(X509_ALGOR* target, Object algorithm, ErrorCode code);

/** ContentInfo around the DER of its content. */
Bytes wrap_content(const char* type, ByteView content_der);
/** The DER inside a ContentInfo of the PKCS#7 or the GM/T 0010 type; throws the code for a bad encoding. */
Bytes unwrap_content(ByteView message, const char* pkcs7_type, const char* gm_type);

/** Issuer and serial number of a certificate, as messages name a signer or a recipient. */
bool set_issuer_and_serial(PKCS7_ISSUER_AND_SERIAL* target, const X509* certificate);
bool names_certificate(const PKCS7_ISSUER_AND_SERIAL* name, const X509* certificate);

}  // namespace velm::token

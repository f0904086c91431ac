#pragma once

#include "softtoken/crypto/openssl_handles.h"

namespace velm::token {

/** A certificate from its DER (nothing may follow); the code for a bad encoding otherwise. */
Certificate parse_certificate(ByteView der);
Bytes certificate_der(X509* certificate);

/** The key in a certificate, RSA or SM2. */
Key key_of(const X509* certificate);

/** Two of the item numbers of certificate_item(). */
constexpr uint32_t kNotBeforeItem = 0x35;
constexpr uint32_t kNotAfterItem = 0x36;

/** One item, by the item numbers that GM/T 0006 gives certificate parsing; texts are UTF-8. */
Bytes certificate_item(const X509* certificate, uint32_t item);

/**
 * The value of an attribute of the subject or of an extension, by object identifier in dotted form. A text is
 * given as UTF-8, any other extension as its DER.
 */
Bytes certificate_item_by_oid(const X509* certificate, const std::string& oid);

}  // namespace velm::token

#pragma once

#include "softtoken/crypto/openssl_handles.h"

namespace velm::token {

/** Parses DER without trailing bytes; throws kCertificateFormat. */
Certificate parse_certificate(ByteView der);
Bytes certificate_der(X509* certificate);

/**
 * The public key, RSA or SM2. Throws kCertificateFormat if the certificate has no usable key,
 * kAlgorithmUnsupported for other key types.
 */
Key key_of(const X509* certificate);

/** The key usages with which a certificate permits encryption with its key. */
constexpr uint32_t kEncryptionUsages = KU_KEY_ENCIPHERMENT | KU_DATA_ENCIPHERMENT | KU_KEY_AGREEMENT;

/** Throws kKeyUsage if the certificate limits the usage of its key and permits none of `usages`. */
void require_key_usage(X509* certificate, uint32_t usages);

/** Item numbers for certificate_item(). */
constexpr uint32_t kNotBeforeItem = 0x35;
constexpr uint32_t kNotAfterItem = 0x36;

/**
 * Returns one item by its GM/T 0006 number; texts are UTF-8. Throws kParameterUnsupported for an unknown
 * number, kOidNotFound if the certificate does not contain the item.
 */
Bytes certificate_item(const X509* certificate, uint32_t item);

/**
 * Returns the subject attribute, otherwise the extension, with this object identifier in dotted form. Texts
 * are UTF-8, other extension values DER. Throws kBadInput if `oid` is invalid, kOidNotFound if there is
 * neither.
 */
Bytes certificate_item_by_oid(const X509* certificate, const std::string& oid);

}  // namespace velm::token

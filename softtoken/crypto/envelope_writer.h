#pragma once

#include "softtoken/crypto/byte_stream.h"
#include "softtoken/crypto/openssl_handles.h"

namespace velm::token {

/**
 * Encrypts `length` bytes into a digital envelope (CMS EnvelopedData) for one recipient, in constant memory:
 * PKCS#7 for RSA, the same structure with the object identifiers of GM/T 0010 for SM2. The content is
 * encrypted under a fresh key with `cipher`, whose only parameter must be the IV. Throws kKeyUsage if the
 * certificate excludes encryption, and kBadLength if `plain` has another length: the length is encoded before
 * the content. Does not validate the certificate.
 */
void write_envelope(X509* recipient, const EVP_CIPHER* cipher, const ByteSource& plain, uint64_t length,
                    const ByteSink& envelope);

}  // namespace velm::token

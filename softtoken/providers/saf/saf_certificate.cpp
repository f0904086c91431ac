#include "provider_abi/velm_client_saf.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/providers/saf/saf_call.h"

using namespace velm::token;

// Items are numbered as in GM/T 0006. Item 8 is the public key: PKCS#1 for RSA, the uncompressed point for
// SM2.
uint32_t SAF_GetCertificateInfo(void*, const uint8_t* certificate, uint32_t certificate_length,
                                uint32_t info_type, uint8_t* info, uint32_t* info_length) {
  return saf_call([&] {
    const Certificate parsed = parse_certificate(required_bytes(certificate, certificate_length));
    deliver(certificate_item(parsed.get(), info_type), info, info_length);
  });
}

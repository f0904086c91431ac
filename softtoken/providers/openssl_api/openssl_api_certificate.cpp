#include "protocol/identifiers.h"
#include "provider_abi/velm_openssl_api.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/keys.h"
#include "softtoken/providers/openssl_api/openssl_api_call.h"

using namespace velm;
using namespace velm::token;

// Every mode fills all known members of the record.
int32_t VELM_Openssl_ParseCertInfo(const uint8_t* certificate, uint32_t certificate_length, uint32_t,
                                   uint32_t, void* record) {
  return api_call([&] {
    if (certificate == nullptr || record == nullptr) return kApiBadInput;
    const Key key = key_of(parse_certificate({certificate, certificate_length}).get());
    const size_t length = public_key_bytes(key.get()).size();
    auto* known = static_cast<CertificateRecord*>(record);
    known->public_key_type = kind_of(key.get()) == KeyKind::rsa ? protocol::kRsaKey : protocol::kSm2Key;
    known->public_key_length = static_cast<uint32_t>(length);
    return kApiSuccess;
  });
}

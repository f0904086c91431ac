#include "provider_abi/velm_client_saf.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/providers/saf/content_hash.h"
#include "softtoken/providers/saf/saf_call.h"

using namespace velm::protocol;
using namespace velm::token;

namespace {

Key key_in(const uint8_t* certificate, uint32_t certificate_length) {
  return key_of(parse_certificate(required_bytes(certificate, certificate_length)).get());
}

}  // namespace

uint32_t SAF_VerifySignByCert(uint32_t digest, const uint8_t* certificate, uint32_t certificate_length,
                              const uint8_t* data, uint32_t data_length, const uint8_t* signature,
                              uint32_t signature_length) {
  return saf_call([&] {
    const Key key = key_in(certificate, certificate_length);
    verify_data(key.get(), static_cast<DigestId>(digest), input_bytes(data, data_length),
                input_bytes(signature, signature_length));
  });
}

uint32_t SAF_EccVerifySignByCert(uint32_t algorithm, const uint8_t* certificate, uint32_t certificate_length,
                                 const uint8_t* hash, uint32_t hash_length, const uint8_t* signature,
                                 uint32_t signature_length) {
  return saf_call([&] {
    require_saf(algorithm == kSm2Signature, kSafAlgorithm);
    const Key key = key_in(certificate, certificate_length);
    verify_hash(key.get(), DigestId::sm3, input_bytes(hash, hash_length),
                input_bytes(signature, signature_length));
  });
}

uint32_t SAF_Ext_VerifySignHashByCert(uint32_t digest, const uint8_t* certificate,
                                      uint32_t certificate_length, const uint8_t* hash, uint32_t hash_length,
                                      const uint8_t* signature, uint32_t signature_length) {
  return saf_call([&] {
    const Key key = key_in(certificate, certificate_length);
    verify_hash(key.get(), static_cast<DigestId>(digest), input_bytes(hash, hash_length),
                input_bytes(signature, signature_length));
  });
}

uint32_t SAF_Ext_VerifySignFileByCert(uint32_t digest, const uint8_t* certificate,
                                      uint32_t certificate_length, const uint8_t* id, uint32_t id_length,
                                      const char* path, const uint8_t* signature, uint32_t signature_length) {
  return saf_call([&] {
    const Key key = key_in(certificate, certificate_length);
    const Bytes prefix = signed_prefix(key.get(), input_bytes(id, id_length));
    const Bytes hash = hash_file(static_cast<DigestId>(digest), prefix, required_text(path));
    verify_hash(key.get(), static_cast<DigestId>(digest), hash, input_bytes(signature, signature_length));
  });
}

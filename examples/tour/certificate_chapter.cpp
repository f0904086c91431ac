#include "chapters.h"
#include "demo_container.h"
#include "velm_sof_client.h"

namespace {

struct Field {
  const char* title;
  uint32_t item;
};

constexpr Field kFields[] = {{"subject", 0x07},
                             {"issuer", 0x05},
                             {"serial number", 0x02},
                             {"valid from", 0x35},
                             {"valid until", 0x36}};

Bytes certificate_of(Narrator& narrator, const char* name) {
  return exported_certificate(narrator, name, KeyUse::signing);
}

uint32_t validate(const Bytes& certificate) {
  return SOF_ValidateCert(certificate.data(), length_of(certificate));
}

}  // namespace

void certificate_chapter(Narrator& narrator) {
  narrator.chapter("Certificates");
  for (const char* name : kDemoContainers) {
    const Bytes certificate = certificate_of(narrator, name);
    for (const Field& field : kFields) {
      Bytes value;
      const uint32_t code = with_size_query(value, [&](uint8_t* data, uint32_t* length) {
        return SOF_GetCertInfo(certificate.data(), length_of(certificate), field.item, data, length);
      });
      if (narrator.call(std::string("Read its ") + field.title, code)) narrator.detail(text_of(value));
    }
    narrator.call("Validate it", validate(certificate));
  }
  narrator.call("Validate one that has expired", validate(certificate_of(narrator, "EXPIRED_RSA_2048_DEMO")),
                SOR_CERTHASEXPIREDERR);
  narrator.call("Validate one that was revoked", validate(certificate_of(narrator, "REVOKED_SM2_DEMO")),
                SOR_CERTREVOKEDERR);
}

#include "chapters.h"
#include "demo_container.h"

namespace {

// Certificate items of GM/T 0006.
struct Item {
  const char* title;
  uint32_t number;
};

constexpr Item kItems[] = {{"subject", 0x07},
                           {"issuer", 0x05},
                           {"serial number", 0x02},
                           {"start of validity", 0x35},
                           {"end of validity", 0x36}};

}  // namespace

void certificate_chapter(Narrator& narrator) {
  for (const char* name : kDemoContainers) {
    const sof::Certificate certificate = signing_certificate(narrator, sof::Container(name));
    for (const Item& item : kItems) {
      narrator.detail(narrator.step(std::string("Read the ") + item.title,
                                    [&] { return certificate.item(item.number); }));
    }
    narrator.step("Validate the certificate", [&] { certificate.validate(); });
  }
  const sof::Certificate expired = signing_certificate(narrator, sof::Container("EXPIRED_RSA_2048_DEMO"));
  narrator.refused_step("Validate the expired certificate", SOR_CERTHASEXPIREDERR,
                        [&] { expired.validate(); });
  const sof::Certificate revoked = signing_certificate(narrator, sof::Container("REVOKED_SM2_DEMO"));
  narrator.refused_step("Validate the revoked certificate", SOR_CERTREVOKEDERR, [&] { revoked.validate(); });
}

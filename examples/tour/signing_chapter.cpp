#include "chapters.h"
#include "demo_container.h"

namespace {

constexpr const char* kData = "a contract worth signing";
constexpr const char* kAlteredData = "a contract worth sighing";

void sign_data(Narrator& narrator, const sof::Container& container) {
  const sof::Certificate certificate = signing_certificate(narrator, container);
  const sof::Bytes signature = narrator.step("Sign data", [&] { return container.sign(kData); });
  narrator.detail(hex(signature));
  narrator.step("Verify the signature", [&] { certificate.verify(kData, signature); });
  narrator.refused_step("Verify it over altered data", SOR_VERIFYSIGNDATAERR,
                        [&] { certificate.verify(kAlteredData, signature); });
}

void sign_message(Narrator& narrator, const sof::Container& container) {
  const sof::Bytes message = narrator.step("Create a detached signed message", [&] {
    return container.sign_message(kData, sof::Content::detached);
  });
  narrator.detail(std::to_string(message.size()) + " bytes");
  narrator.step("Verify the message", [&] { sof::verify_message(message, kData); });
  narrator.refused_step("Verify it over altered data", SOR_VERIFYSIGNDATAERR,
                        [&] { sof::verify_message(message, kAlteredData); });
}

}  // namespace

void signing_chapter(Narrator& narrator) {
  for (const char* name : kDemoContainers) {
    const sof::Container container(name);
    sign_data(narrator, container);
    sign_message(narrator, container);
  }
}

#include "chapters.h"
#include "demo_container.h"

void encryption_chapter(Narrator& narrator) {
  const std::string secret = "for one reader only";
  for (const char* name : kDemoContainers) {
    const sof::Container container(name);
    const sof::Certificate recipient = encryption_certificate(narrator, container);
    const sof::Bytes envelope = narrator.step("Encrypt data for the holder of the certificate",
                                              [&] { return recipient.encrypt(secret); });
    narrator.detail(std::to_string(envelope.size()) + " bytes: " + hex(envelope));
    const sof::Bytes decrypted = narrator.step("Decrypt it with the key of the container",
                                               [&] { return container.decrypt(envelope); });
    narrator.check("The decrypted data equals the original", text_of(decrypted) == secret);
  }
}

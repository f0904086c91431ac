#include "chapters.h"
#include "demo_container.h"
#include "velm_sof_client.h"

void encryption_chapter(Narrator& narrator) {
  narrator.chapter("Encryption");
  const Bytes secret = bytes_of("for one reader only");
  for (const char* name : kDemoContainers) {
    const Bytes certificate = exported_certificate(narrator, name, KeyUse::exchange);
    Bytes envelope;
    narrator.call("Encrypt for its holder", with_size_query(envelope, [&](uint8_t* out, uint32_t* length) {
                    return SOF_EncryptData(certificate.data(), length_of(certificate), secret.data(),
                                           length_of(secret), out, length);
                  }));
    narrator.detail(std::to_string(envelope.size()) + " bytes: " + hex(envelope));
    Bytes opened;
    narrator.call("Decrypt with its key", with_size_query(opened, [&](uint8_t* out, uint32_t* length) {
                    return SOF_DecryptData(name, envelope.data(), length_of(envelope), out, length);
                  }));
    narrator.check("the text is the same again", opened == secret);
  }
}

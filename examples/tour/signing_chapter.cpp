#include "chapters.h"
#include "demo_container.h"
#include "velm_sof_client.h"

namespace {

void sign_data(Narrator& narrator, const char* name, Bytes data) {
  const Bytes certificate = exported_certificate(narrator, name, KeyUse::signing);
  Bytes signature;
  const uint32_t signed_code = with_size_query(signature, [&](uint8_t* out, uint32_t* length) {
    return SOF_SignData(name, data.data(), length_of(data), out, length);
  });
  if (narrator.call("Sign with its key", signed_code)) narrator.detail(hex(signature));
  const auto verify = [&] {
    return SOF_VerifySignedData(certificate.data(), length_of(certificate), data.data(), length_of(data),
                                signature.data(), length_of(signature));
  };
  narrator.call("Verify the signature", verify());
  data[0] ^= 1;
  narrator.call("Verify it over data with one bit changed", verify(), SOR_VERIFYSIGNDATAERR);
}

void sign_message(Narrator& narrator, const char* name, Bytes data) {
  constexpr int32_t kDetached = 1;
  Bytes message;
  narrator.call(std::string("Make a detached signed message with ") + name,
                with_size_query(message, [&](uint8_t* out, uint32_t* length) {
                  return SOF_SignMessage(kDetached, name, data.data(), length_of(data), out, length);
                }));
  const auto verify = [&] {
    return SOF_VerifySignedMessage(message.data(), length_of(message), data.data(), length_of(data));
  };
  narrator.call("Verify the message", verify());
  data.back() ^= 1;
  narrator.call("Verify it over data with one bit changed", verify(), SOR_VERIFYSIGNDATAERR);
}

}  // namespace

void signing_chapter(Narrator& narrator) {
  narrator.chapter("Signing");
  for (const char* name : kDemoContainers) {
    sign_data(narrator, name, bytes_of("a contract worth signing"));
    sign_message(narrator, name, bytes_of("a contract worth signing"));
  }
}

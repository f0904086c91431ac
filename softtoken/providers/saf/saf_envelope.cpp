#include "provider_abi/velm_client_saf.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/content_info.h"
#include "softtoken/providers/saf/application.h"
#include "softtoken/providers/saf/envelope_file.h"
#include "softtoken/providers/saf/saf_call.h"
#include "softtoken/providers/saf/token_client.h"

using namespace velm::protocol;
using namespace velm::token;

namespace {

// Decrypts the content key with the first certificate of the container that the digital envelope names.
SecretBytes content_key(const TokenClient& client, const std::string& container,
                        std::span<const EnvelopeRecipient> recipients) {
  for (const auto use : {TokenClient::KeyUse::encryption, TokenClient::KeyUse::signing}) {
    const Certificate certificate = parse_certificate(client.certificate(container, use));
    for (const EnvelopeRecipient& recipient : recipients) {
      if (!names_certificate(recipient.name, certificate.get())) continue;
      return client.decrypt(container, use, recipient.encrypted_key);
    }
  }
  throw SafError(kSafKeyMismatch);
}

}  // namespace

uint32_t SAF_Ext_EncodeEnvelopedFile(void*, const char* input_path, uint32_t input_path_length,
                                     const uint8_t* certificate, uint32_t certificate_length, uint32_t method,
                                     uint32_t, const char* output_path, uint32_t output_path_length) {
  return saf_call([&] {
    const Certificate recipient = parse_certificate(required_bytes(certificate, certificate_length));
    OutputFile output(required_text(output_path, output_path_length));
    encode_envelope_file(required_text(input_path, input_path_length), recipient.get(), method, output);
    output.commit();
  });
}

uint32_t SAF_Ext_DecodeEnvelopedFile(void* application, const char* container, uint32_t container_length,
                                     uint32_t, uint32_t, const char* input_path, uint32_t input_path_length,
                                     const char* output_path, uint32_t output_path_length) {
  return saf_call([&] {
    const TokenClient client(configuration_of(application));
    const std::string name = required_text(container, container_length);
    OutputFile output(required_text(output_path, output_path_length));
    decode_envelope_file(
        required_text(input_path, input_path_length),
        [&](std::span<const EnvelopeRecipient> recipients) { return content_key(client, name, recipients); },
        output);
    output.commit();
  });
}

uint32_t SAF_Ext_CMS_DecodeEnvelopedData(void* application, const char* container, uint32_t container_length,
                                         const uint8_t* input, uint32_t input_length, uint8_t* output,
                                         uint32_t* output_length) {
  return saf_call([&] {
    const TokenClient client(configuration_of(application));
    const std::string name = required_text(container, container_length);
    deliver(client.open_envelope(name, required_bytes(input, input_length)), output, output_length);
  });
}

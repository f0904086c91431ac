#include "provider_abi/velm_client_saf.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/content_info.h"
#include "softtoken/crypto/signed_data.h"
#include "softtoken/providers/saf/content_hash.h"
#include "softtoken/providers/saf/message_identifiers.h"
#include "softtoken/providers/saf/saf_call.h"

using namespace velm::protocol;
using namespace velm::token;

namespace {

struct Part {
  Bytes bytes;
  uint8_t* output;
  uint32_t* length;
};

// Writes all parts or none: every capacity is checked first.
void deliver_parts(std::span<const Part> parts) {
  for (const Part& part : parts) {
    require_saf(part.length != nullptr, kSafBadInput);
    require_saf(part.output == nullptr || *part.length >= part.bytes.size(), kSafBadLength);
  }
  for (const Part& part : parts) deliver(part.bytes, part.output, part.length);
}

struct DecodedOutputs {
  uint8_t* certificate;
  uint32_t* certificate_length;
  uint32_t* digest;
  uint8_t* data;
  uint32_t* data_length;
  uint8_t* signature;
  uint32_t* signature_length;
};

void deliver_decoded(const SignedMessage& message, const DecodedOutputs& out) {
  require_saf(out.digest != nullptr, kSafBadInput);
  const uint32_t digest = static_cast<uint32_t>(digest_id_of(message.digest));
  const Part parts[] = {
      {certificate_der(message.signer.get()), out.certificate, out.certificate_length},
      {message.content.value_or(Bytes()), out.data, out.data_length},
      {message.signature, out.signature, out.signature_length},
  };
  deliver_parts(parts);
  *out.digest = digest;
}

}  // namespace

// Any signed message with PKCS#7 identifiers, whatever the signer's key type.
uint32_t SAF_Pkcs7_DecodeSignedData(void*, const uint8_t* message, uint32_t message_length,
                                    uint8_t* certificate, uint32_t* certificate_length, uint32_t* digest,
                                    uint8_t* data, uint32_t* data_length, uint8_t* signature,
                                    uint32_t* signature_length) {
  return saf_call([&] {
    const ByteView encoded = required_bytes(message, message_length);
    unwrap_content(encoded, kPkcs7Types.signed_data, kPkcs7Types.signed_data);
    deliver_decoded(parse_signed_message(encoded), {certificate, certificate_length, digest, data,
                                                    data_length, signature, signature_length});
  });
}

// An SM2 signed message with the identifiers of GM/T 0010 or of PKCS#7.
uint32_t SAF_SM2_DecodeSignedData(void*, const uint8_t* message, uint32_t message_length,
                                  uint8_t* certificate, uint32_t* certificate_length, uint32_t* digest,
                                  uint8_t* data, uint32_t* data_length, uint8_t* signature,
                                  uint32_t* signature_length) {
  return saf_call([&] {
    const SignedMessage parsed = parse_signed_message(required_bytes(message, message_length));
    require_saf(kind_of(key_of(parsed.signer.get()).get()) == KeyKind::sm2, kSafBadObject);
    deliver_decoded(
        parsed, {certificate, certificate_length, digest, data, data_length, signature, signature_length});
  });
}

uint32_t SAF_Ext_Pkcs7_ReadContentData(void*, const uint8_t* message, uint32_t message_length,
                                       uint32_t* has_attributes, uint32_t* digest, uint8_t* attributes,
                                       uint32_t* attributes_length, uint8_t* hash, uint32_t* hash_length) {
  return saf_call([&] {
    require_saf(has_attributes != nullptr && digest != nullptr, kSafBadInput);
    const SignedMessage parsed = parse_signed_message(required_bytes(message, message_length));
    const uint32_t digest_number = static_cast<uint32_t>(digest_id_of(parsed.digest));
    const Part parts[] = {{parsed.signed_attributes, attributes, attributes_length},
                          {parsed.attribute_digest, hash, hash_length}};
    deliver_parts(parts);
    *digest = digest_number;
    *has_attributes = parsed.signed_attributes.empty() ? 0 : 1;
  });
}

uint32_t SAF_Ext_ReplaceSM2Pkcs7SignedOID(uint32_t mode, const uint8_t* input, uint32_t input_length,
                                          uint8_t* output, uint32_t* output_length) {
  return saf_call([&] {
    const auto family = static_cast<IdentifierFamily>(mode);
    require_saf(family == IdentifierFamily::gm_t_0010 || family == IdentifierFamily::international,
                kSafNotSupported);
    deliver(replace_message_identifiers(family, required_bytes(input, input_length)), output, output_length);
  });
}

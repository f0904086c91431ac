// Fuzzes signed messages: PKCS#7 and GM/T 0010, with and without content and signed attributes.
#include <algorithm>

#include "provider_abi/velm_client_saf.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/signed_data.h"
#include "softtoken/providers/saf/message_identifiers.h"
#include "softtoken/tests/store/temporary_store.h"
#include "tests/fuzz/fuzz_target.h"

using namespace velm::token;
using velm::fuzz::expect;

namespace {

bool same(const SignedMessage& a, const SignedMessage& b) {
  return a.content == b.content && a.signature == b.signature && a.signed_attributes == b.signed_attributes &&
         a.attribute_digest == b.attribute_digest && a.digest == b.digest &&
         certificate_der(a.signer.get()) == certificate_der(b.signer.get());
}

void check_replacement(const SignedMessage& parsed, ByteView message) {
  for (const IdentifierFamily family : {IdentifierFamily::gm_t_0010, IdentifierFamily::international}) {
    Bytes replaced;
    if (code_of([&] { replaced = replace_message_identifiers(family, message); }) != kSuccess) continue;
    expect(same(parse_signed_message(replaced), parsed),
           "other identifiers change nothing else in a message");
    expect(replace_message_identifiers(family, replaced) == replaced, "replacing again changes nothing");
  }
}

// Calls the exported decoders with outputs of exactly the sizes that a size query returns.
template <typename Decoder>
void check_decoder(Decoder decode, ByteView message) {
  uint32_t sizes[3] = {};
  uint32_t digest = 0;
  const auto call = [&](uint8_t* certificate, uint8_t* content, uint8_t* signature) {
    return decode(nullptr, message.data(), static_cast<uint32_t>(message.size()), certificate, &sizes[0],
                  &digest, content, &sizes[1], signature, &sizes[2]);
  };
  if (call(nullptr, nullptr, nullptr) != 0) return;
  Bytes certificate(sizes[0]), content(sizes[1]), signature(sizes[2]);
  expect(call(certificate.data(), content.data(), signature.data()) == 0,
         "outputs of the queried sizes suffice");
  expect(sizes[0] == certificate.size() && sizes[1] == content.size() && sizes[2] == signature.size(),
         "the returned sizes are the queried ones");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const ByteView message(data, size);
  std::optional<SignedMessage> parsed;
  const ErrorCode code = code_of([&] { parsed = parse_signed_message(message); });
  expect(code != kUnknownError, "a known result code");
  expect(code_of([&] { verify_signed_message(message, {}); }) != kUnknownError, "a known result code");
  check_decoder(SAF_Pkcs7_DecodeSignedData, message);
  check_decoder(SAF_SM2_DecodeSignedData, message);
  if (!parsed) {
    code_of([&] { replace_message_identifiers(IdentifierFamily::international, message); });
    return 0;
  }
  expect(parsed->signer != nullptr, "a parsed message has a signer");
  expect(parsed->signature.size() <= size && parsed->content.value_or(Bytes()).size() <= size,
         "the parts of a message are not longer than it");
  expect(parsed->signed_attributes.empty() == parsed->attribute_digest.empty() ||
             !parsed->signed_attributes.empty(),
         "a digest attribute comes with signed attributes");
  check_replacement(*parsed, message);
  return 0;
}

// Verifies signed messages over whole files. The content is in the message or in a separate file.
#include "velm_sof_client/algorithm.h"
#include "velm_sof_client/input_file.h"
#include "velm_sof_client/provider_call.h"
#include "velm_sof_client/signed_message.h"

using namespace velm;

namespace {

constexpr char kFunction[] = "SOF_Ext_PKCS7_VerifySignedFile";

struct VerificationInput {
  ByteView message;
  bool detached;
  ByteView file;  // the content of a detached message
  const SignedAttributes& attributes;

  ByteView content(const SignedData& parts) const { return detached ? file : parts.content.content(); }
};

ProviderBuffer content_buffer(uint32_t length) {
  const uint64_t size = uint64_t{length} + kBytesBeyondCapacity;
  HeapMemory bytes = heap_memory(size);
  require_memory(bytes, kFunction, "uPlainDataDecodeLen", length);
  return {std::move(bytes), length, size};
}

// Repeats the sizing pass with the decoder of the key type, then decodes the message. `certificate_caller` is
// the name that the log line prints if the certificate buffer cannot be allocated.
SignedData decode_whole(const SignedDataDecoder& decoder, const VerificationInput& input,
                        SignedDataSizes sizes, const char* certificate_caller) {
  require_sized(decoder, input.message, sizes);
  SignedData parts{.digest = sizes.digest, .content = {.stated_length = sizes.content}};
  parts.certificate = sized_buffer(certificate_caller, "uSignCertLen", sizes.certificate);
  if (!input.detached) parts.content = content_buffer(sizes.content);
  parts.signature = sized_buffer(kFunction, "uSignDataLen", sizes.signature);
  require_decoded(decoder, input.message, parts);
  return parts;
}

template <uint32_t size>
FixedBuffer<size> hash_of(const char* name, uint32_t algorithm, ByteView data, ByteView public_key = {},
                          ByteView id = {}) {
  FixedBuffer<size> hash;
  check_provider(name, SAF_Hash(algorithm, data.data, data.length, public_key.data, public_key.length,
                                id.data, id.length, hash.bytes, &hash.stated_length));
  return hash;
}

void verify_sm2_hash(const char* name, const SignedData& parts, ByteView hash) {
  const ByteView certificate = parts.certificate.content(), signature = parts.signature.content();
  check_provider(name, SAF_EccVerifySignByCert(kSm2Signature, certificate.data, certificate.length, hash.data,
                                               hash.length, signature.data, signature.length));
}

void verify_rsa_data(const char* name, const SignedData& parts, ByteView data) {
  const ByteView certificate = parts.certificate.content(), signature = parts.signature.content();
  check_provider(name, SAF_VerifySignByCert(parts.digest, certificate.data, certificate.length, data.data,
                                            data.length, signature.data, signature.length));
}

void verify_sm2(const VerificationInput& input, const SignedDataSizes& sizes) {
  const SignedAttributes& attributes = input.attributes;
  // Sic: a failed allocation of the certificate buffer is logged under the name SOF_VerifySignedMessage.
  const SignedData parts = decode_whole(sm2_decoder(), input, sizes, "SOF_VerifySignedMessage");
  const auto public_key = read_public_key(parts.certificate.content());
  const ByteView content = input.content(parts);

  if (!attributes.present()) {
    const auto hash = hash_of<1024>("SAF_Hash", kSm3, content, public_key.content(), default_user_id());
    verify_sm2_hash("SAF_EccVerifySignByCert", parts, hash.content());
    return;
  }
  const auto content_hash = hash_of<1024>("SAF_Hash", kSm3, content);
  const auto signed_hash =
      hash_of<128>("SAF_Hash for attribute's SM3 hash", kSm3, attributes.encoding.content(),
                   public_key.content(), default_user_id());
  verify_sm2_hash("SAF_VerifySignByCert for attribute's SM3", parts, signed_hash.content());
  require_attribute_hash(attributes, content_hash);
}

void verify_rsa(const VerificationInput& input, const SignedDataSizes& sizes) {
  const SignedAttributes& attributes = input.attributes;
  const SignedData parts = decode_whole(pkcs7_decoder(), input, sizes, kFunction);
  const ByteView content = input.content(parts);

  if (!attributes.present()) {
    verify_rsa_data("SAF_VerifySignByCert", parts, content);
    return;
  }
  verify_rsa_data("SAF_VerifySignByCert for attribute", parts, attributes.encoding.content());
  require_attribute_hash(attributes,
                         hash_of<128>("SAF_Hash for plain data's hash", attributes.digest, content));
}

}  // namespace

uint32_t SOF_Ext_PKCS7_VerifySignedFile(uint32_t flag, const uint8_t* pMessageData, uint32_t uMessageDataLen,
                                        const char* pszInFilePath) {
  return exported_call([&] {
    require_pointer(pMessageData, "pMessageData");
    require_pointer(pszInFilePath, "pszInFilePath");

    const bool detached = flag != 0;
    FileContent file{};
    if (detached) file = read_whole_file(local_path(pszInFilePath, kFunction), kFunction);

    const ByteView message{pMessageData, uMessageDataLen};
    const SignedAttributes attributes = read_signed_attributes(message);
    const SignedDataSizes sizes = size_with_either_decoder(message);

    const VerificationInput input{message, detached, {file.data(), file.length}, attributes};
    if (sizes.signature < kShortestRsaSignature) {
      verify_sm2(input, sizes);
    } else {
      verify_rsa(input, sizes);
    }
  });
}

// Decodes signed messages (PKCS#7, or the SM2 form of GM/T 0010) with the signature provider.
#pragma once

#include <algorithm>
#include <cstdint>

#include "velm_sof_client/algorithm.h"
#include "velm_sof_client/provider_call.h"

namespace velm {

struct SignedDataDecoder {
  const char* name;
  decltype(&SAF_Pkcs7_DecodeSignedData) function;
};

inline SignedDataDecoder pkcs7_decoder() {
  return {"SAF_Pkcs7_DecodeSignedData", SAF_Pkcs7_DecodeSignedData};
}
inline SignedDataDecoder sm2_decoder() { return {"SAF_SM2_DecodeSignedData", SAF_SM2_DecodeSignedData}; }

// Lengths reported by a sizing pass. They are passed unchanged to the next sizing pass.
struct SignedDataSizes {
  uint32_t certificate = 0;
  uint32_t digest = 0;
  uint32_t content = 0;
  uint32_t signature = 0;
};

// One sizing pass. Returns the provider's result.
inline uint32_t size_parts(const SignedDataDecoder& decoder, ByteView message, SignedDataSizes& sizes) {
  return decoder.function(g_hAppHandle.load(), message.data, message.length, nullptr, &sizes.certificate,
                          &sizes.digest, nullptr, &sizes.content, nullptr, &sizes.signature);
}

inline void require_sized(const SignedDataDecoder& decoder, ByteView message, SignedDataSizes& sizes,
                          CallSite site = CallSite::current()) {
  check_provider(decoder.name, size_parts(decoder, message, sizes), site);
}

// First sizing pass: tries the PKCS#7 decoder, then the SM2 decoder.
inline SignedDataSizes size_with_either_decoder(ByteView message, CallSite site = CallSite::current()) {
  SignedDataSizes sizes;
  if (size_parts(pkcs7_decoder(), message, sizes) != 0) require_sized(sm2_decoder(), message, sizes, site);
  return sizes;
}

// Parts of a signed message. The provider only reports the size of a part without a buffer.
struct SignedData {
  ProviderBuffer certificate{};
  uint32_t digest = 0;
  ProviderBuffer content{};
  ProviderBuffer signature{};
};

// Decodes the parts that have a buffer.
inline void require_decoded(const SignedDataDecoder& decoder, ByteView message, SignedData& parts,
                            CallSite site = CallSite::current()) {
  check_provider(
      decoder.name,
      decoder.function(g_hAppHandle.load(), message.data, message.length, parts.certificate.data(),
                       &parts.certificate.stated_length, &parts.digest, parts.content.data(),
                       &parts.content.stated_length, parts.signature.data(), &parts.signature.stated_length),
      site);
}

// Signed attributes of a message. If they are present, the signature covers `encoding`; `hash` is the message
// digest attribute.
struct SignedAttributes {
  uint32_t flag = 0;
  uint32_t digest = 0;
  FixedBuffer<4096> encoding;
  FixedBuffer<128> hash;

  bool present() const { return flag == 1; }
};

inline SignedAttributes read_signed_attributes(ByteView message, CallSite site = CallSite::current()) {
  SignedAttributes attributes;
  check_provider("SAF_Ext_Pkcs7_ReadContentData",
                 SAF_Ext_Pkcs7_ReadContentData(g_hAppHandle.load(), message.data, message.length,
                                               &attributes.flag, &attributes.digest,
                                               attributes.encoding.bytes, &attributes.encoding.stated_length,
                                               attributes.hash.bytes, &attributes.hash.stated_length),
                 site);
  return attributes;
}

// Throws unless `hash` equals the message digest attribute.
template <uint32_t size>
void require_attribute_hash(const SignedAttributes& attributes, const FixedBuffer<size>& hash,
                            CallSite site = CallSite::current()) {
  using protocol::kSafHashFailed;
  if (hash.stated_length != attributes.hash.stated_length)
    fail_with_provider_code("hashLen != attrHashLen", kSafHashFailed, site);
  const ByteView ours = hash.content(), theirs = attributes.hash.content();
  const bool equal = std::equal(ours.data, ours.data + ours.length, theirs.data, theirs.data + theirs.length);
  if (!equal) fail_with_provider_code("hash not equal attrHash", kSafHashFailed, site);
}

}  // namespace velm

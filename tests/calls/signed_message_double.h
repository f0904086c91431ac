// Plays the provider's decoders for one signed message: without buffers they return sizes, with buffers also
// contents. Records every pass, and checks that the library zeroes the outputs first.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/standins.h"

namespace velm::test {

struct SignedMessageDouble {
  // One decoding pass: which buffers were given, and their capacities.
  struct Pass {
    std::string decoder;
    void* application;
    std::string message;
    bool certificate_given, content_given, signature_given;
    uint32_t certificate_capacity, content_capacity, signature_capacity;
  };

  std::string certificate = "the certificate";
  std::string content = "the content";
  std::string signature = std::string(72, 's');
  uint32_t digest = 4;

  // Added to each length that a filling pass returns.
  uint32_t overstatement = 0;

  // Result codes of the passes, by decoder; the last one repeats.
  std::vector<uint32_t> pkcs7_results{0}, sm2_results{0};

  // The signed attributes.
  uint32_t attribute_flag = 0;
  uint32_t attribute_digest = 2;
  std::string attributes = "the signed attributes";
  std::string attribute_hash = std::string(32, 'h');
  uint32_t attributes_overstatement = 0;
  uint32_t attribute_hash_overstatement = 0;

  std::vector<Pass> passes;
  std::vector<uint32_t> attribute_capacities;  // of the attributes and their hash, in the last call

  void play() {
    STANDIN(SAF_Ext_Pkcs7_ReadContentData)
        .plays([this](void*, const uint8_t*, uint32_t, uint32_t* flag, uint32_t* algorithm, uint8_t* encoding,
                      uint32_t* encoding_length, uint8_t* hash, uint32_t* hash_length) {
          attribute_capacities = {*encoding_length, *hash_length};
          EXPECT_EQ(*flag, 0u);
          EXPECT_EQ(*algorithm, 0u);
          EXPECT_EQ(bytes(encoding, 4096), std::string(4096, '\0'));
          EXPECT_EQ(bytes(hash, 128), std::string(128, '\0'));
          *flag = attribute_flag;
          *algorithm = attribute_digest;
          put(attributes, encoding, encoding_length, attributes_overstatement);
          put(attribute_hash, hash, hash_length, attribute_hash_overstatement);
          return 0u;
        });
    STANDIN(SAF_Pkcs7_DecodeSignedData).plays([this](auto... arguments) {
      return decode("SAF_Pkcs7_DecodeSignedData", pkcs7_results, arguments...);
    });
    STANDIN(SAF_SM2_DecodeSignedData).plays([this](auto... arguments) {
      return decode("SAF_SM2_DecodeSignedData", sm2_results, arguments...);
    });
  }

  std::vector<std::string> decoders() const {
    std::vector<std::string> names;
    for (const Pass& pass : passes) names.push_back(pass.decoder);
    return names;
  }

 private:
  static void put(const std::string& value, uint8_t* output, uint32_t* length, uint32_t overstated) {
    if (output) std::memcpy(output, value.data(), value.size());
    *length = static_cast<uint32_t>(value.size()) + (output ? overstated : 0);
  }

  uint32_t decode(const char* decoder, std::vector<uint32_t>& results, void* application,
                  const uint8_t* message, uint32_t message_length, uint8_t* certificate_out,
                  uint32_t* certificate_length, uint32_t* digest_out, uint8_t* content_out,
                  uint32_t* content_length, uint8_t* signature_out, uint32_t* signature_length) {
    if (passes.empty()) {
      EXPECT_EQ(*certificate_length, 0u);
      EXPECT_EQ(*digest_out, 0u);
      EXPECT_EQ(*content_length, 0u);
      EXPECT_EQ(*signature_length, 0u);
    }
    passes.push_back({decoder, application, bytes(message, message_length), certificate_out != nullptr,
                      content_out != nullptr, signature_out != nullptr, *certificate_length, *content_length,
                      *signature_length});
    const uint32_t result = results.front();
    if (results.size() > 1) results.erase(results.begin());
    if (result != 0) return result;
    *digest_out = digest;
    put(certificate, certificate_out, certificate_length, overstatement);
    put(content, content_out, content_length, overstatement);
    put(signature, signature_out, signature_length, overstatement);
    return 0;
  }
};

}  // namespace velm::test

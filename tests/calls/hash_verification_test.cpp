// Verifies signatures against a hash value that the caller computed.
#include "calls/signed_message_double.h"
#include "calls/signing_test.h"

using namespace velm::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char kPkcs7[] = "SAF_Pkcs7_DecodeSignedData";
constexpr char kSm2[] = "SAF_SM2_DecodeSignedData";

// The arguments of SAF_Ext_VerifySignHashByCert.
struct Verified {
  uint32_t digest;
  std::string certificate, hash, signature;

  bool operator==(const Verified&) const = default;
};

class VerifySignedMessage : public SigningTest {
 protected:
  VerifySignedMessage() {
    message.signature = std::string(256, 's');
    message.play();
    STANDIN(SAF_Ext_VerifySignHashByCert)
        .plays([this](uint32_t digest, const uint8_t* certificate, uint32_t certificate_length,
                      const uint8_t* given, uint32_t given_length, const uint8_t* signature,
                      uint32_t signature_length) {
          verified = {digest, bytes(certificate, certificate_length), bytes(given, given_length),
                      bytes(signature, signature_length)};
          return 0u;
        });
  }

  uint32_t call() {
    return library.SOF_Ext_VerifySignedMessage(encoded.data(), encoded.size(), hash.data(), 32);
  }
  uint32_t verify() {
    return balanced([&] { return call(); });
  }

  // Returns the last call's log lines after its entry line.
  Lines failures() {
    Lines lines = new_lines();
    EXPECT_EQ(lines.at(0), entry_line("SOF_Ext_VerifySignedMessage uMessageDataLen=11 uiHashedDataLen=32"));
    lines.erase(lines.begin());
    return lines;
  }

  SignedMessageDouble message;
  GuardedBytes encoded{"the message"};
  GuardedBytes hash{std::string(32, 'H')};
  Verified verified{};
};

TEST_F(VerifySignedMessage, RsaMessageIsVerifiedWithItsCertificate) {
  EXPECT_EQ(verify(), 0u);
  EXPECT_EQ(verified, (Verified{4, "the certificate", std::string(32, 'H'), std::string(256, 's')}));
  EXPECT_THAT(message.decoders(), ElementsAre(kPkcs7, kPkcs7, kPkcs7));
  EXPECT_THAT(message.attribute_capacities, ElementsAre(4096, 128));
  for (const auto& pass : message.passes) {
    EXPECT_EQ(pass.application, nullptr);
    EXPECT_EQ(pass.message, "the message");
    EXPECT_FALSE(pass.content_given);
  }
  EXPECT_FALSE(message.passes[1].certificate_given);
  EXPECT_FALSE(message.passes[1].signature_given);
  EXPECT_TRUE(message.passes[2].certificate_given);
  EXPECT_TRUE(message.passes[2].signature_given);
  EXPECT_EQ(message.passes[2].certificate_capacity, 15u + 2048);
  EXPECT_EQ(message.passes[2].signature_capacity, 256u + 2048);
  EXPECT_THAT(allocated, ElementsAre(15 + 3072, 256 + 3072));
  EXPECT_THAT(failures(), IsEmpty());
  EXPECT_EQ(STANDIN(SAF_Initialize).count(), 0u);
}

TEST_F(VerifySignedMessage, OpenHandleIsPassed) {
  let_handle_open();
  library.SOF_VerifySignedDataXML(encoded.data(), 1);
  EXPECT_EQ(verify(), 0u);
  EXPECT_EQ(std::get<0>(STANDIN(SAF_Ext_Pkcs7_ReadContentData).calls().at(0)), open_application());
  for (const auto& pass : message.passes) EXPECT_EQ(pass.application, open_application());
}

TEST_F(VerifySignedMessage, ShortSignaturesSucceedUnverified) {
  message.attribute_flag = 1;
  for (const size_t size : {0, 64, 72, 127}) {
    SCOPED_TRACE(size);
    message.signature = std::string(size, 's');
    message.passes.clear();
    EXPECT_EQ(verify(), 0u);
    EXPECT_THAT(message.decoders(), ElementsAre(kPkcs7));
    EXPECT_THAT(allocated, IsEmpty());
    EXPECT_THAT(failures(), IsEmpty());
  }
  EXPECT_EQ(STANDIN(SAF_Ext_VerifySignHashByCert).count(), 0u);

  message.pkcs7_results = {0x02000507};
  message.passes.clear();
  EXPECT_EQ(verify(), 0u);
  EXPECT_THAT(message.decoders(), ElementsAre(kPkcs7, kSm2));
}

TEST_F(VerifySignedMessage, LongSignatureReadOnlyByTheSm2DecoderFails) {
  message.signature = std::string(128, 's');
  message.pkcs7_results = {0x02000507};
  EXPECT_EQ(verify(), 0x0B000428u);
  EXPECT_THAT(message.decoders(), ElementsAre(kPkcs7, kSm2, kPkcs7));
  EXPECT_THAT(failures(), ElementsAre("\"SAF_Pkcs7_DecodeSignedData\" 0x02000507 "));
}

TEST_F(VerifySignedMessage, FailuresOfTheProviderAreLoggedAndMapped) {
  STANDIN(SAF_Ext_Pkcs7_ReadContentData).returns(0x02000403);
  EXPECT_EQ(verify(), 0x0B000438u);
  EXPECT_THAT(failures(), ElementsAre("\"SAF_Ext_Pkcs7_ReadContentData\" 0x02000403 "));
  EXPECT_THAT(message.passes, IsEmpty());
  message.play();

  message.pkcs7_results = {0x02000507};
  message.sm2_results = {0x0200050A};
  EXPECT_EQ(verify(), 0x0B000429u);
  EXPECT_THAT(failures(), ElementsAre("\"SAF_SM2_DecodeSignedData\" 0x0200050A "));

  for (const std::vector<uint32_t>& results : {std::vector<uint32_t>{0, 0x02000200}, {0, 0, 0x02000200}}) {
    message.pkcs7_results = results;
    EXPECT_EQ(verify(), 0x0B000200u);
    EXPECT_THAT(failures(), ElementsAre("\"SAF_Pkcs7_DecodeSignedData\" 0x02000200 "));
  }

  message.pkcs7_results = {0};
  STANDIN(SAF_Ext_VerifySignHashByCert).returns(0x02000308);
  EXPECT_EQ(verify(), 0x0B000308u);
  EXPECT_THAT(failures(), ElementsAre("\"SAF_Ext_VerifySignHashByCert\" 0x02000308 "));
}

TEST_F(VerifySignedMessage, SignedAttributesAreComparedWith128Zeros) {
  message.attribute_flag = 1;
  const auto expect_refused = [&](const char* line) {
    EXPECT_EQ(verify(), 0x0B000302u);
    EXPECT_THAT(failures(), ElementsAre(line));
  };
  expect_refused("\"hashLen != attrHashLen\" 0x02000302 ");
  message.attribute_hash = std::string(127, '\0');
  expect_refused("\"hashLen != attrHashLen\" 0x02000302 ");
  message.attribute_hash = std::string(127, '\0') + 'x';
  expect_refused("\"hash not equal attrHash\" 0x02000302 ");
  message.attribute_hash = std::string(128, '\0');
  EXPECT_EQ(verify(), 0u);
  EXPECT_THAT(failures(), IsEmpty());
  message.attribute_hash_overstatement = 1;
  expect_refused("\"hashLen != attrHashLen\" 0x02000302 ");
  EXPECT_EQ(STANDIN(SAF_Ext_VerifySignHashByCert).count(), 0u);
}

TEST_F(VerifySignedMessage, OnlyAFlagOfOneMeansAttributes) {
  message.attribute_flag = 2;
  EXPECT_EQ(verify(), 0u);
  EXPECT_EQ(STANDIN(SAF_Ext_VerifySignHashByCert).count(), 1u);
}

TEST_F(VerifySignedMessage, LatestSizesAreUsed) {
  message.play();
  STANDIN(SAF_Pkcs7_DecodeSignedData)
      .plays([&, pass = 0u](auto, auto, auto, auto, uint32_t* certificate_length, auto, auto, auto, auto,
                            uint32_t* signature_length) mutable {
        ++pass;
        *certificate_length = 100 * pass;
        *signature_length = 300 * pass;
        return 0u;
      });
  EXPECT_EQ(verify(), 0u);
  EXPECT_THAT(allocated, ElementsAre(200 + 3072, 600 + 3072));
}

TEST_F(VerifySignedMessage, OverstatedLengthsAreLimitedToTheBuffers) {
  message.overstatement = 1'000'000;
  EXPECT_EQ(verify(), 0u);
  EXPECT_EQ(verified.certificate.size(), 15u + 3072);
  EXPECT_EQ(verified.signature.size(), 256u + 3072);
}

TEST_F(VerifySignedMessage, BuffersCannotBeAllocated) {
  EXPECT_EQ(without_allocation_of(15 + 3072, [&] { return call(); }), 0x0B000100u);
  EXPECT_THAT(failures(), ElementsAre("SOF_VerifySignedMessage, SI_Malloc, uSignCertLen = 0x0000080F "));
  EXPECT_EQ(without_allocation_of(256 + 3072, [&] { return call(); }), 0x0B000100u);
  EXPECT_THAT(failures(), ElementsAre("SOF_VerifySignedMessage, SI_Malloc, uSignDataLen = 0x00000900 "));
  expect_survives_allocation_faults([&] { return call(); });
}

TEST_F(VerifySignedMessage, CapacityAbove32BitsIsRefused) {
  STANDIN(SAF_Pkcs7_DecodeSignedData)
      .plays([&](auto, auto, auto, auto, uint32_t* certificate_length, auto, auto, auto, auto,
                 uint32_t* signature_length) {
        *certificate_length = 0xFFFFF800;
        *signature_length = 256;
        return 0u;
      });
  EXPECT_EQ(verify(), 0x0B000100u);
  EXPECT_THAT(failures(), ElementsAre("SOF_VerifySignedMessage, SI_Malloc, uSignCertLen = 0x00000000 "));
}

TEST_F(VerifySignedMessage, NullArguments) {
  EXPECT_EQ(balanced([&] { return library.SOF_Ext_VerifySignedMessage(nullptr, 11, nullptr, 32); }),
            0x0B000403u);
  EXPECT_THAT(new_lines(), ElementsAre("pMessageData is null!"));
  EXPECT_THAT(standins.call_log(), IsEmpty());

  // A null hash counts as empty regardless of its length.
  EXPECT_EQ(library.SOF_Ext_VerifySignedMessage(encoded.data(), encoded.size(), nullptr, 32), 0u);
  const auto given = STANDIN(SAF_Ext_VerifySignHashByCert).calls().at(0);
  EXPECT_EQ(std::get<3>(given), nullptr);
  EXPECT_EQ(std::get<4>(given), 0u);
}

class VerifySignedHash : public SigningTest {
 protected:
  VerifySignedHash() { play_certificate(1); }

  void play_certificate(uint32_t key_type) {
    STANDIN(VELM_Openssl_ParseCertInfo)
        .plays([this, key_type](const uint8_t* given, uint32_t length, uint32_t mode, uint32_t reserved,
                                void* output) {
          auto* record = static_cast<CertificateRecord*>(output);
          const auto* first = static_cast<const uint8_t*>(output);
          EXPECT_TRUE(std::all_of(first, first + sizeof *record, [](uint8_t byte) { return byte == 0; }));
          EXPECT_EQ(bytes(given, length), bytes(certificate.data(), certificate.size()));
          EXPECT_EQ(mode, 1u);
          EXPECT_EQ(reserved, 0u);
          record->public_key_type = key_type;
          return 0;
        });
  }

  auto verify_hash(uint32_t hash_length = 32) {
    return call_of(library.SOF_Ext_VerifySignedHash,
                   [](const uint8_t*, uint32_t certificate_length, const uint8_t*, uint32_t length,
                      const uint8_t*, uint32_t signature_length) {
                     return print(
                         "SOF_Ext_VerifySignedHash uSignCertLen=%u uiHashedDataLen=%u uSignedDataLen=%u",
                         certificate_length, length, signature_length);
                   },
                   {"pSignCert", nullptr, "pHashedData", nullptr, "pSignedData", nullptr},
                   {certificate.data(), certificate.size(), hash.data(), hash_length, signature.data(),
                    signature.size()});
  }

  // Runs the call with this hash length. After the entry line it must log only `failure`.
  void expect_refused(uint32_t hash_length, uint32_t code, const std::string& failure) {
    SCOPED_TRACE(failure);
    const auto call = verify_hash(hash_length);
    EXPECT_EQ(balanced([&] { return call.run(); }), code);
    Lines expected = call.entry_lines(call.arguments);
    expected.push_back(failure);
    EXPECT_EQ(new_lines(), expected);
  }

  decltype(STANDIN(SAF_EccVerifySignByCert))& ecc_verification = STANDIN(SAF_EccVerifySignByCert);
  GuardedBytes certificate{"certificate"};
  GuardedBytes hash{std::string(64, 'H')};
  GuardedBytes signature{"signature"};
};

TEST_F(VerifySignedHash, RsaHashLengthSelectsTheDigest) {
  for (const auto& [length, digest] : {std::pair(20u, 2u), std::pair(32u, 4u)}) {
    standins.reset();
    play_certificate(1);
    expect_handed(verify_hash(length), STANDIN(SAF_Ext_VerifySignHashByCert),
                  [digest = digest](auto... arguments) { return std::tuple(digest, arguments...); });
    EXPECT_THAT(standins.call_log(),
                ElementsAre("VELM_Openssl_ParseCertInfo", "SAF_Ext_VerifySignHashByCert"));
  }
}

TEST_F(VerifySignedHash, RsaOtherHashLengthsAreRefused) {
  for (const uint32_t length : {0u, 19u, 21u, 31u, 33u, 48u, 0xFFFFFFFFu}) {
    expect_refused(length, 0x0B000002, print("SOF_Ext_VerifySignedHash, unsupport hash len: %u ", length));
  }
  EXPECT_THAT(standins.call_log("SAF"), IsEmpty());
}

TEST_F(VerifySignedHash, OtherKeysAcceptAnyHashLength) {
  for (const uint32_t key_type : {0u, 2u, 3u}) {
    for (const uint32_t length : {0u, 20u, 32u, 64u}) {
      standins.reset();
      play_certificate(key_type);
      const auto call = verify_hash(length);
      EXPECT_EQ(balanced([&] { return call.run(); }), 0u);
      EXPECT_THAT(standins.call_log(), ElementsAre("VELM_Openssl_ParseCertInfo", "SAF_GetCertificateInfo",
                                                   "SAF_EccVerifySignByCert"));
      using EccVerified = std::remove_reference_t<decltype(ecc_verification)>::Call;
      EXPECT_EQ(ecc_verification.calls().at(0),
                EccVerified(0x00020200, certificate.data(), certificate.size(), hash.data(), length,
                            signature.data(), signature.size()));
      EXPECT_EQ(new_lines(), call.entry_lines(call.arguments));
    }
  }
}

TEST_F(VerifySignedHash, ThePublicKeyIsRead) {
  play_certificate(2);
  uint32_t capacity = 0;
  STANDIN(SAF_GetCertificateInfo)
      .plays([&](void* application, const uint8_t* given, uint32_t length, uint32_t type, uint8_t* output,
                 uint32_t* output_length) {
        EXPECT_EQ(application, nullptr);
        EXPECT_EQ(given, certificate.data());
        EXPECT_EQ(length, certificate.size());
        EXPECT_EQ(type, 8u);
        EXPECT_NE(output, nullptr);
        capacity = *output_length;
        return 0u;
      });
  EXPECT_EQ(verify_hash().run(), 0u);
  EXPECT_EQ(capacity, 1024u);
}

TEST_F(VerifySignedHash, FailuresAreLoggedAndMapped) {
  STANDIN(VELM_Openssl_ParseCertInfo).returns(-7);
  expect_refused(32, 0x0B000443, "SOF_Ext_VerifySignedHash, VELM_Openssl_ParseCertInfo goa_rv=-7");
  EXPECT_THAT(standins.call_log("SAF"), IsEmpty());

  play_certificate(1);
  expect_mapped(verify_hash(), STANDIN(SAF_Ext_VerifySignHashByCert), "SAF_Ext_VerifySignHashByCert");
  play_certificate(2);
  expect_mapped(verify_hash(), STANDIN(SAF_EccVerifySignByCert), "SAF_EccVerifySignByCert");
  STANDIN(SAF_GetCertificateInfo).returns(0x0200052C);
  expect_refused(32, 0x0B010012, "\"SAF_GetCertificateInfo\" 0x0200052C ");
  expect_survives_allocation_faults([&] { return verify_hash().run(); });
}

TEST_F(VerifySignedHash, NullArguments) { expect_null_checks(verify_hash()); }

class ReplaceObjectIdentifiers : public SigningTest {
 protected:
  GuardedBytes input{"the message"};
  GuardedBuffer output{8};
  uint32_t length = 8;
};

TEST_F(ReplaceObjectIdentifiers, PassesItsArguments) {
  for (const uint32_t mode : {0u, 1u, 0xFFFFFFFFu}) {
    const auto call = call_of(library.SOF_Ext_ReplaceSM2Pkcs7SignedOID, nullptr,
                              {nullptr, "input", nullptr, "output", "outputLen"},
                              {mode, input.data(), input.size(), output.data(), &length});
    expect_pass_through(call, STANDIN(SAF_Ext_ReplaceSM2Pkcs7SignedOID), "SOF_Ext_ReplaceSM2Pkcs7SignedOID",
                        [](auto... arguments) { return std::tuple(arguments...); });
  }
  EXPECT_TRUE(output.untouched());
  EXPECT_EQ(length, 8u);
}

TEST_F(ReplaceObjectIdentifiers, ReturnsTheProvidersOutput) {
  STANDIN(SAF_Ext_ReplaceSM2Pkcs7SignedOID)
      .plays([](auto, auto, auto, uint8_t* given, uint32_t* given_length) {
        return give("new", given, given_length);
      });
  EXPECT_EQ(library.SOF_Ext_ReplaceSM2Pkcs7SignedOID(1, input.data(), input.size(), output.data(), &length),
            0u);
  EXPECT_EQ(length, 3u);
  EXPECT_EQ(output.bytes(3), "new");
  EXPECT_TRUE(output.untouched(3));
}

}  // namespace

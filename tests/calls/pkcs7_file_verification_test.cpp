// Verification of signed messages over whole files.
#include "calls/signed_message_double.h"
#include "calls/signing_test.h"

using namespace velm::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char kPath[] = "pkcs7_file_verification.in";
constexpr char kContent[] = "the content of the file";
constexpr uint32_t kAttached = 0, kDetached = 1;

constexpr char kPkcs7[] = "SAF_Pkcs7_DecodeSignedData";
constexpr char kSm2[] = "SAF_SM2_DecodeSignedData";
constexpr char kMismatchedLength[] = "\"hashLen != attrHashLen\" 0x02000302 ";
constexpr char kMismatch[] = "\"hash not equal attrHash\" 0x02000302 ";

struct Hashed {
  uint32_t algorithm;
  std::string data, public_key, id;
  uint32_t capacity;

  bool operator==(const Hashed&) const = default;
};

struct Verified {
  uint32_t algorithm;
  std::string certificate, over, signature;

  bool operator==(const Verified&) const = default;
};

class Pkcs7FileVerification : public SigningTest {
 protected:
  Pkcs7FileVerification() {
    message.play();
    STANDIN(SAF_GetCertificateInfo)
        .plays([this](void* application, const uint8_t* certificate, uint32_t length, uint32_t type,
                      uint8_t* output, uint32_t* output_length) {
          EXPECT_EQ(application, handle);
          EXPECT_EQ(bytes(certificate, length), message.certificate);
          EXPECT_EQ(type, 8u);
          EXPECT_EQ(*output_length, 1024u);
          give(public_key, output, output_length);
          *output_length += public_key_overstatement;
          return 0u;
        });
    STANDIN(SAF_Hash).plays([this](uint32_t algorithm, const uint8_t* data, uint32_t length,
                                   const uint8_t* key, uint32_t key_length, const uint8_t* id,
                                   uint32_t id_length, uint8_t* output, uint32_t* output_length) {
      EXPECT_EQ(key == nullptr, key_length == 0);
      EXPECT_EQ(id == nullptr, id_length == 0);
      hashed.push_back(
          {algorithm, bytes(data, length), bytes(key, key_length), bytes(id, id_length), *output_length});
      const size_t pass = hashed.size() - 1;
      if (hash_results.size() > pass && hash_results[pass] != 0) return hash_results[pass];
      give(key ? "hash with key" : content_hash, output, output_length);
      *output_length += hash_overstatement;
      return 0u;
    });
    const auto verify = [this](uint32_t algorithm, const uint8_t* certificate, uint32_t certificate_length,
                               const uint8_t* over, uint32_t over_length, const uint8_t* signature,
                               uint32_t signature_length) {
      verified.push_back({algorithm, bytes(certificate, certificate_length), bytes(over, over_length),
                          bytes(signature, signature_length)});
      return verification_result;
    };
    STANDIN(SAF_EccVerifySignByCert).plays(verify);
    STANDIN(SAF_VerifySignByCert).plays(verify);
  }

  void take_rsa() { message.signature = std::string(128, 'r'); }

  void take_attributes() {
    message.attribute_flag = 1;
    message.attribute_hash = content_hash;
  }

  uint32_t call(uint32_t flag, const char* path = kPath) {
    message.passes.clear();
    hashed.clear();
    verified.clear();
    return library.SOF_Ext_PKCS7_VerifySignedFile(flag, encoded.data(), encoded.size(), path);
  }

  uint32_t verify(uint32_t flag) {
    return balanced([&] { return call(flag); });
  }

  void expect_failure(uint32_t flag, uint32_t code, const std::string& line) {
    SCOPED_TRACE(line);
    EXPECT_EQ(verify(flag), code);
    EXPECT_THAT(new_lines(), ElementsAre(line));
  }

  Verified verification_of(uint32_t algorithm, const std::string& over) const {
    return {algorithm, message.certificate, over, message.signature};
  }

  // Only the last pass has output buffers. Their capacities derive from the sizes that the pass before
  // returned.
  void expect_passes(std::initializer_list<const char*> decoders, uint32_t flag) {
    EXPECT_EQ(message.decoders(), std::vector<std::string>(decoders.begin(), decoders.end()));
    for (size_t i = 0; i < message.passes.size(); ++i) {
      const auto& pass = message.passes[i];
      const bool last = i + 1 == message.passes.size();
      EXPECT_EQ(pass.application, handle);
      EXPECT_EQ(pass.message, "the message");
      EXPECT_EQ(pass.certificate_given, last);
      EXPECT_EQ(pass.signature_given, last);
      EXPECT_EQ(pass.content_given, last && flag == kAttached);
    }
    const auto& last = message.passes.back();
    EXPECT_EQ(last.certificate_capacity, message.certificate.size() + 2048);
    EXPECT_EQ(last.signature_capacity, message.signature.size() + 2048);
    EXPECT_TRUE(has_allocated(message.certificate.size() + 3072));
    EXPECT_TRUE(has_allocated(message.signature.size() + 3072));
    EXPECT_EQ(has_allocated(message.content.size() + 1024), flag == kAttached);
    if (flag == kAttached) {
      EXPECT_EQ(last.content_capacity, message.content.size());
    }
    EXPECT_THAT(message.attribute_capacities, ElementsAre(4096, 128));
  }

  const std::string& content_of(uint32_t flag) const {
    return flag == kAttached ? message.content : file_content;
  }

  SignedMessageDouble message;
  const std::string file_content = kContent;
  TestFile file{kPath, file_content};
  GuardedBytes encoded{"the message"};
  std::string public_key = "the public key";
  uint32_t public_key_overstatement = 0;
  std::string content_hash = std::string(32, 'c');
  uint32_t hash_overstatement = 0;
  std::vector<uint32_t> hash_results;
  uint32_t verification_result = 0;
  std::vector<Hashed> hashed;
  std::vector<Verified> verified;
};

TEST_F(Pkcs7FileVerification, Sm2WithoutAttributes) {
  for (const uint32_t flag : {kAttached, kDetached}) {
    EXPECT_EQ(verify(flag), 0u);
    expect_passes({kPkcs7, kSm2, kSm2}, flag);
    EXPECT_THAT(hashed, ElementsAre(Hashed{1, content_of(flag), public_key, kSignerId, 1024}));
    EXPECT_THAT(verified, ElementsAre(verification_of(0x00020200, "hash with key")));
  }
  EXPECT_EQ(standins.call_log("SAF_EccVerifySignByCert").size(), 2u);
  EXPECT_THAT(new_lines(), IsEmpty());
}

TEST_F(Pkcs7FileVerification, Sm2WithAttributes) {
  take_attributes();
  for (const uint32_t flag : {kAttached, kDetached}) {
    EXPECT_EQ(verify(flag), 0u);
    expect_passes({kPkcs7, kSm2, kSm2}, flag);
    EXPECT_THAT(hashed, ElementsAre(Hashed{1, content_of(flag), "", "", 1024},
                                    Hashed{1, message.attributes, public_key, kSignerId, 128}));
    EXPECT_THAT(verified, ElementsAre(verification_of(0x00020200, "hash with key")));
  }
  EXPECT_THAT(new_lines(), IsEmpty());
}

TEST_F(Pkcs7FileVerification, RsaWithoutAttributes) {
  take_rsa();
  for (const uint32_t flag : {kAttached, kDetached}) {
    EXPECT_EQ(verify(flag), 0u);
    expect_passes({kPkcs7, kPkcs7, kPkcs7}, flag);
    EXPECT_THAT(hashed, IsEmpty());
    EXPECT_THAT(verified, ElementsAre(verification_of(message.digest, content_of(flag))));
  }
  EXPECT_EQ(standins.call_log("SAF_VerifySignByCert").size(), 2u);
  EXPECT_THAT(standins.call_log("SAF_GetCertificateInfo"), IsEmpty());
}

TEST_F(Pkcs7FileVerification, RsaWithAttributes) {
  take_rsa();
  take_attributes();
  for (const uint32_t flag : {kAttached, kDetached}) {
    EXPECT_EQ(verify(flag), 0u);
    expect_passes({kPkcs7, kPkcs7, kPkcs7}, flag);
    EXPECT_THAT(verified, ElementsAre(verification_of(message.digest, message.attributes)));
    EXPECT_THAT(hashed, ElementsAre(Hashed{message.attribute_digest, content_of(flag), "", "", 128}));
  }
}

TEST_F(Pkcs7FileVerification, StepsAreInOrder) {
  take_attributes();
  EXPECT_EQ(verify(kDetached), 0u);
  EXPECT_THAT(standins.call_log(),
              ElementsAre("SAF_Ext_Pkcs7_ReadContentData", kPkcs7, kSm2, kSm2, "SAF_GetCertificateInfo",
                          "SAF_Hash", "SAF_Hash", "SAF_EccVerifySignByCert"));
  take_rsa();
  const size_t before = standins.call_log().size();
  EXPECT_EQ(verify(kDetached), 0u);
  Lines calls = standins.call_log();
  calls.erase(calls.begin(), calls.begin() + static_cast<ptrdiff_t>(before));
  EXPECT_THAT(calls, ElementsAre("SAF_Ext_Pkcs7_ReadContentData", kPkcs7, kPkcs7, kPkcs7,
                                 "SAF_VerifySignByCert", "SAF_Hash"));
}

TEST_F(Pkcs7FileVerification, OpenHandleIsPassed) {
  let_handle_open();
  library.SOF_VerifySignedDataXML(encoded.data(), 1);
  handle = open_application();
  EXPECT_EQ(verify(kDetached), 0u);
  expect_passes({kPkcs7, kSm2, kSm2}, kDetached);
  EXPECT_EQ(std::get<0>(STANDIN(SAF_Ext_Pkcs7_ReadContentData).calls().at(0)), handle);
}

TEST_F(Pkcs7FileVerification, SignatureLengthSelectsTheDecoder) {
  const std::pair<size_t, const char*> rows[] = {
      {0, kSm2}, {64, kSm2}, {127, kSm2}, {128, kPkcs7}, {256, kPkcs7}};
  for (const auto& [size, decoder] : rows) {
    message.signature = std::string(size, 's');
    EXPECT_EQ(verify(kAttached), 0u);
    expect_passes({kPkcs7, decoder, decoder}, kAttached);
  }
}

TEST_F(Pkcs7FileVerification, Sm2DecoderIsUsedWhenTheGeneralOneFails) {
  message.pkcs7_results = {0x02000507, 0};
  EXPECT_EQ(verify(kAttached), 0u);
  expect_passes({kPkcs7, kSm2, kSm2, kSm2}, kAttached);
  EXPECT_THAT(new_lines(), IsEmpty());

  take_rsa();
  message.pkcs7_results = {0x02000507, 0};
  EXPECT_EQ(verify(kAttached), 0u);
  expect_passes({kPkcs7, kSm2, kPkcs7, kPkcs7}, kAttached);
}

TEST_F(Pkcs7FileVerification, AnyFlagButZeroMeansAFile) {
  for (const uint32_t flag : {2u, 16u, 0xFFFFFFFFu}) {
    EXPECT_EQ(verify(flag), 0u);
    EXPECT_EQ(hashed.at(0).data, kContent);
  }
}

TEST_F(Pkcs7FileVerification, AnAttachedMessageOpensNoFile) {
  const auto no_file = [&](const char* path) { return balanced([&] { return call(kAttached, path); }); };
  EXPECT_EQ(no_file("there is no such file"), 0u);
  EXPECT_EQ(no_file(""), 0u);
  EXPECT_EQ(no_file(std::string(10'000, 'x').c_str()), 0u);
}

TEST_F(Pkcs7FileVerification, NullArguments) {
  EXPECT_EQ(library.SOF_Ext_PKCS7_VerifySignedFile(0, nullptr, 11, nullptr), 0x0B000403u);
  EXPECT_EQ(library.SOF_Ext_PKCS7_VerifySignedFile(0, encoded.data(), 11, nullptr), 0x0B000403u);
  EXPECT_THAT(new_lines(), ElementsAre("pMessageData is null!", "pszInFilePath is null!"));
  EXPECT_THAT(standins.call_log(), IsEmpty());
}

TEST_F(Pkcs7FileVerification, UnusableContentFiles) {
  const auto expect_refused = [&](const char* path, uint32_t code, const std::string& line) {
    EXPECT_EQ(balanced([&] { return call(kDetached, path); }), code);
    EXPECT_THAT(new_lines(), ElementsAre(line));
  };
  expect_refused("missing", 0x0B01000E, "SOF_Ext_PKCS7_VerifySignedFile->xfile_get_size [missing] -23");
  file.write("");
  expect_refused(kPath, 0x0B000200, "SOF_Ext_PKCS7_VerifySignedFile->in file is empty!");
  EXPECT_EQ(call(kDetached, std::string(8192, 'x').c_str()), 0x0B000003u);
  EXPECT_THAT(
      new_lines(),
      ElementsAre(testing::StartsWith("SOF_Ext_PKCS7_VerifySignedFile->xencoding_utf8_to_gbk -14 [xxx")));
  EXPECT_THAT(standins.call_log(), IsEmpty());
}

TEST_F(Pkcs7FileVerification, TheFilesPathIsConverted) {
  const TestFile chinese("\xD6\xD0\xCE\xC4.p7", "in Chinese");
  EXPECT_EQ(call(kDetached, "\xE4\xB8\xAD\xE6\x96\x87.p7"), 0u);
  EXPECT_EQ(hashed.at(0).data, "in Chinese");
}

TEST_F(Pkcs7FileVerification, DecoderFailures) {
  STANDIN(SAF_Ext_Pkcs7_ReadContentData).returns(0x02000526);
  expect_failure(kAttached, 0x0B000442, "\"SAF_Ext_Pkcs7_ReadContentData\" 0x02000526 ");
  EXPECT_THAT(message.passes, IsEmpty());
  message.play();

  message.pkcs7_results = {0x02000507};
  message.sm2_results = {0x0200050A};
  expect_failure(kDetached, 0x0B000429, "\"SAF_SM2_DecodeSignedData\" 0x0200050A ");

  message.pkcs7_results = {0};
  for (const std::vector<uint32_t>& results : {std::vector<uint32_t>{0x0200050A}, {0, 0x0200050A}}) {
    message.sm2_results = results;
    expect_failure(kAttached, 0x0B000429, "\"SAF_SM2_DecodeSignedData\" 0x0200050A ");
  }
  take_rsa();
  for (const std::vector<uint32_t>& results : {std::vector<uint32_t>{0, 0x02000507}, {0, 0, 0x02000507}}) {
    message.pkcs7_results = results;
    expect_failure(kAttached, 0x0B000428, "\"SAF_Pkcs7_DecodeSignedData\" 0x02000507 ");
  }
}

TEST_F(Pkcs7FileVerification, FailuresOfTheSm2Steps) {
  const auto fail_verification = [&](const char* name) {
    verification_result = 0x02000308;
    expect_failure(kDetached, 0x0B000308, print("\"%s\" 0x02000308 ", name));
    verification_result = 0;
  };
  hash_results = {0x02000302};
  expect_failure(kDetached, 0x0B000302, "\"SAF_Hash\" 0x02000302 ");
  hash_results = {};
  fail_verification("SAF_EccVerifySignByCert");

  take_attributes();
  hash_results = {0x02000303};
  expect_failure(kDetached, 0x0B000303, "\"SAF_Hash\" 0x02000303 ");
  hash_results = {0, 0x02000303};
  expect_failure(kDetached, 0x0B000303, "\"SAF_Hash for attribute's SM3 hash\" 0x02000303 ");
  hash_results = {};
  fail_verification("SAF_VerifySignByCert for attribute's SM3");

  STANDIN(SAF_GetCertificateInfo).returns(0x02000320);
  expect_failure(kAttached, 0x0B000405, "\"SAF_GetCertificateInfo\" 0x02000320 ");
}

TEST_F(Pkcs7FileVerification, FailuresOfTheRsaSteps) {
  take_rsa();
  verification_result = 0x02000308;
  expect_failure(kDetached, 0x0B000308, "\"SAF_VerifySignByCert\" 0x02000308 ");
  take_attributes();
  expect_failure(kDetached, 0x0B000308, "\"SAF_VerifySignByCert for attribute\" 0x02000308 ");
  EXPECT_THAT(hashed, IsEmpty());
  verification_result = 0;
  hash_results = {0x02000302};
  expect_failure(kDetached, 0x0B000302, "\"SAF_Hash for plain data's hash\" 0x02000302 ");
}

TEST_F(Pkcs7FileVerification, OtherContentThanTheSignedOne) {
  for (const size_t signature_size : {72, 128}) {
    message.signature = std::string(signature_size, 's');
    take_attributes();
    message.attribute_hash.back() = 'x';
    expect_failure(kDetached, 0x0B000302, kMismatch);
    message.attribute_hash = content_hash + "c";
    expect_failure(kAttached, 0x0B000302, kMismatchedLength);
    message.attribute_hash = std::string(31, 'c');
    expect_failure(kDetached, 0x0B000302, kMismatchedLength);
    EXPECT_EQ(verified.size(), 1u) << "the signature is verified first";
  }
}

TEST_F(Pkcs7FileVerification, OnlyAFlagOfOneMeansAttributes) {
  message.attribute_flag = 2;
  EXPECT_EQ(verify(kDetached), 0u);
  EXPECT_EQ(hashed.size(), 1u);
  take_rsa();
  EXPECT_EQ(verify(kDetached), 0u);
  EXPECT_THAT(hashed, IsEmpty());
}

TEST_F(Pkcs7FileVerification, OverstatedDecoderLengthsAreLimitedToTheBuffers) {
  message.overstatement = 1'000'000;
  take_rsa();
  EXPECT_EQ(verify(kAttached), 0u);
  EXPECT_EQ(verified.at(0).certificate.size(), message.certificate.size() + 3072);
  EXPECT_EQ(verified.at(0).signature.size(), message.signature.size() + 3072);
  EXPECT_EQ(verified.at(0).over.size(), message.content.size() + 1024);
  EXPECT_EQ(verified.at(0).over.substr(0, message.content.size()), message.content);
}

TEST_F(Pkcs7FileVerification, OverstatedAttributeLengthsAreLimitedToTheBuffers) {
  take_attributes();
  take_rsa();
  message.attributes_overstatement = 1'000'000;
  EXPECT_EQ(verify(kDetached), 0u);
  EXPECT_EQ(verified.at(0).over.size(), 4096u);

  message.attribute_hash_overstatement = 1'000'000;
  expect_failure(kDetached, 0x0B000302, kMismatchedLength);
  hash_overstatement = 1'000'000;
  EXPECT_EQ(verify(kDetached), 0u) << "within both buffers, the hashes are equal";
  content_hash.back() = 'x';
  expect_failure(kDetached, 0x0B000302, kMismatch);
}

TEST_F(Pkcs7FileVerification, OverstatedSm2LengthsAreLimitedToTheBuffers) {
  public_key_overstatement = 1'000'000;
  hash_overstatement = 1'000'000;
  EXPECT_EQ(verify(kDetached), 0u);
  EXPECT_EQ(hashed.at(0).public_key.size(), 1024u);
  EXPECT_EQ(verified.at(0).over.size(), 1024u);

  take_attributes();
  message.attribute_hash_overstatement = 1'000'000;
  expect_failure(kDetached, 0x0B000302, kMismatch);
  EXPECT_EQ(verified.at(0).over.size(), 128u);
}

TEST_F(Pkcs7FileVerification, LatestSizesAreUsed) {
  take_rsa();
  STANDIN(SAF_Pkcs7_DecodeSignedData)
      .plays([pass = 0u](auto, auto, auto, auto, uint32_t* certificate_length, auto, auto,
                         uint32_t* content_length, auto, uint32_t* signature_length) mutable {
        ++pass;
        *certificate_length = 100 * pass;
        *content_length = 200 * pass;
        *signature_length = 300 * pass;
        return 0u;
      });
  EXPECT_EQ(verify(kAttached), 0u);
  EXPECT_TRUE(has_allocated(200 + 3072));
  EXPECT_TRUE(has_allocated(400 + 1024));
  EXPECT_TRUE(has_allocated(600 + 3072));
}

TEST_F(Pkcs7FileVerification, BuffersCannotBeAllocated) {
  const auto expect_missing = [&](size_t size, const std::string& line) {
    SCOPED_TRACE(line);
    EXPECT_EQ(without_allocation_of(
                  size, [&] { return call(size == file_content.size() ? kDetached : kAttached); }),
              0x0B000100u);
    EXPECT_THAT(new_lines(), ElementsAre(line));
  };
  expect_missing(file_content.size(), "SOF_Ext_PKCS7_VerifySignedFile->malloc in file data buffer 0");
  const std::string content_line =
      "SOF_Ext_PKCS7_VerifySignedFile, SI_Malloc, uPlainDataDecodeLen = 0x0000000B ";
  expect_missing(15 + 3072, "SOF_VerifySignedMessage, SI_Malloc, uSignCertLen = 0x0000080F ");
  expect_missing(11 + 1024, content_line);
  expect_missing(72 + 3072, "SOF_Ext_PKCS7_VerifySignedFile, SI_Malloc, uSignDataLen = 0x00000848 ");
  take_rsa();
  expect_missing(15 + 3072, "SOF_Ext_PKCS7_VerifySignedFile, SI_Malloc, uSignCertLen = 0x0000080F ");
  expect_missing(11 + 1024, content_line);
  expect_missing(128 + 3072, "SOF_Ext_PKCS7_VerifySignedFile, SI_Malloc, uSignDataLen = 0x00000880 ");
}

TEST_F(Pkcs7FileVerification, EveryAllocationMayFail) {
  for (const size_t signature_size : {72, 128}) {
    message.signature = std::string(signature_size, 's');
    for (const uint32_t flag : {kAttached, kDetached}) {
      expect_survives_allocation_faults([&] { return call(flag); });
      verification_result = 0x02000308;
      expect_survives_allocation_faults([&] { return call(flag); });
      verification_result = 0;
    }
  }
}

TEST_F(Pkcs7FileVerification, CapacityAbove32BitsIsRefused) {
  STANDIN(SAF_SM2_DecodeSignedData)
      .plays([](auto, auto, auto, auto, auto, auto, auto, auto, auto, uint32_t* signature_length) {
        *signature_length = 0xFFFFFFFF;
        return 0u;
      });
  expect_failure(kDetached, 0x0B000100,
                 "SOF_Ext_PKCS7_VerifySignedFile, SI_Malloc, uSignDataLen = 0x000007FF ");
}

}  // namespace

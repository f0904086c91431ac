// Raw signatures of files.
#include "calls/signing_test.h"

using namespace velm::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct Algorithm {
  uint32_t digest = 0;
  bool has_id = false;
  std::string id;

  bool operator==(const Algorithm&) const = default;
};

const Algorithm kSm3WithId{1, true, kSignerId};
const Algorithm kSha1{2, false, ""};
const Algorithm kSha256{4, false, ""};

Algorithm algorithm_of(uint32_t digest, const uint8_t* id, uint32_t id_length) {
  return {digest, id != nullptr, bytes(id, id_length)};
}

class FileSignature : public SigningTest {
 protected:
  FileSignature() {
    STANDIN(SAF_Ext_SignFile)
        .plays([this](void*, const char*, uint32_t, uint32_t digest, const uint8_t* id, uint32_t id_length,
                      const char*, uint8_t* made, uint32_t* made_length) {
          algorithm = algorithm_of(digest, id, id_length);
          return give("SIGNATURE", made, made_length);
        });
    STANDIN(SAF_Ext_VerifySignFileByCert)
        .plays([this](uint32_t digest, const uint8_t*, uint32_t, const uint8_t* id, uint32_t id_length,
                      const char*, const uint8_t*, uint32_t) {
          algorithm = algorithm_of(digest, id, id_length);
          return 0u;
        });
  }

  auto sign_file(const char* container = "SM2") {
    return call_of(library.SOF_SignFile,
                   [](const char* name, const char* path, uint8_t*, uint32_t*) {
                     return print("SOF_SignFile [%s] pszInFilePath=[%s]", or_NULL(name).c_str(),
                                  or_NULL(path).c_str());
                   },
                   {"pszContainerName", "pszInFilePath", nullptr, "pSignedDataLen"},
                   {container, "a file", output.data(), &length});
  }

  auto verify_file(uint32_t signature_length = 72) {
    return call_of(
        library.SOF_VerifySignedFile,
        [](const uint8_t*, uint32_t certificate_length, const char* path, const uint8_t*, uint32_t size) {
          return print("SOF_VerifySignedFile uSignCertLen=%u pszInFilePath=[%s] uSignedDataLen=%u",
                       certificate_length, or_NULL(path).c_str(), size);
        },
        {"pSignCert", nullptr, "pszInFilePath", "pSignedData", nullptr},
        {certificate.data(), certificate.size(), "a file", signature.data(), signature_length});
  }

  GuardedBuffer output{64};
  uint32_t length = 64;
  GuardedBytes certificate{"certificate"};
  GuardedBytes signature{"signature"};
  Algorithm algorithm;
};

TEST_F(FileSignature, TheFirstMarkerInTheContainersNameChoosesTheDigest) {
  const std::pair<const char*, Algorithm> rows[] = {
      {"RSA_1024", kSha1},
      {"my RSA_1024 key", kSha1},
      {"RSA_2048", kSha256},
      {"SCAN_", kSha256},
      {"a SCAN_CONTAINER", kSha256},
      {"SM2", kSm3WithId},
      {"key of SM2", kSm3WithId},
      {"SM2 and RSA_2048", kSha256},
      {"RSA_2048 and RSA_1024", kSha1},
      {"SCAN_ and RSA_1024", kSha1},
      {"SM2 SCAN_", kSha256},
      {"SM2 SCAN_ RSA_2048 RSA_1024", kSha1},
  };
  for (const auto& [container, expected] : rows) {
    SCOPED_TRACE(container);
    length = 64;
    EXPECT_EQ(balanced([&] { return sign_file(container).run(); }), 0u);
    EXPECT_EQ(algorithm, expected);
    EXPECT_EQ(output.bytes(length), "SIGNATURE");
    EXPECT_THAT(allocated, IsEmpty());
  }
}

TEST_F(FileSignature, AContainerWithoutMarkerSignsNothingAndSucceeds) {
  for (const std::string container : {"", "sm2", "RSA_4096", "SCAN", "SM 2", "RSA-1024"}) {
    SCOPED_TRACE(container);
    EXPECT_EQ(balanced([&] { return sign_file(container.c_str()).run(); }), 0u);
    EXPECT_THAT(new_lines(),
                ElementsAre(entry_line("SOF_SignFile [" + container + "] pszInFilePath=[a file]"),
                            "ContainerName error: sContainerName=" + container));
  }
  EXPECT_EQ(length, 64u);
  EXPECT_TRUE(output.untouched());
  EXPECT_THAT(standins.call_log("SAF_Ext"), IsEmpty());
  EXPECT_EQ(standins.call_log("SAF_Initialize").size(), 6u);
}

TEST_F(FileSignature, SigningPassesItsArguments) {
  let_handle_open();
  const auto call = sign_file("SM2 key");
  EXPECT_EQ(call.run(), 0u);
  const auto [application, container, container_length, digest, id, id_length, path, given_output,
              given_length] = STANDIN(SAF_Ext_SignFile).calls().at(0);
  EXPECT_EQ(application, open_application());
  EXPECT_STREQ(container, "SM2 key");
  EXPECT_EQ(container_length, 7u);
  EXPECT_EQ(digest, 1u);
  EXPECT_NE(id, nullptr);
  EXPECT_EQ(id_length, 16u);
  EXPECT_STREQ(path, "a file");
  EXPECT_EQ(given_output, output.data());
  EXPECT_EQ(given_length, &length);
  EXPECT_THAT(standins.call_log(), ElementsAre("SAF_Initialize", "SAF_Ext_SignFile"));
  EXPECT_EQ(new_lines(), call.entry_lines(call.arguments));
}

// Providers may use the whole buffer of 128 bytes.
TEST_F(FileSignature, UserIdIsInAZeroedWritableBuffer) {
  constexpr size_t kBufferBytes = 128;
  std::vector<std::string> seen;
  const auto use_whole_buffer = [&](const uint8_t* id) {
    seen.push_back(bytes(id, kBufferBytes));
    std::fill_n(const_cast<uint8_t*>(id), kBufferBytes, uint8_t{0xEE});
    return 0u;
  };
  STANDIN(SAF_Ext_SignFile).plays([&](auto, auto, auto, auto, const uint8_t* id, auto, auto, auto, auto) {
    return use_whole_buffer(id);
  });
  STANDIN(SAF_Ext_VerifySignFileByCert)
      .plays(
          [&](auto, auto, auto, const uint8_t* id, auto, auto, auto, auto) { return use_whole_buffer(id); });
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(sign_file().run(), 0u);
    EXPECT_EQ(verify_file().run(), 0u);
  }
  const std::string whole = "1234567812345678" + std::string(112, '\0');
  EXPECT_THAT(seen, ElementsAre(whole, whole, whole, whole));
}

TEST_F(FileSignature, PathIsNotConverted) {
  constexpr char path[] = "c:\\\xE4\xB8\xAD\xE6\x96\x87.txt";
  std::string handed;
  STANDIN(SAF_Ext_SignFile).plays([&](auto, auto, auto, auto, auto, auto, const char* given, auto, auto) {
    handed = given;
    return 0u;
  });
  library.SOF_SignFile("SM2", path, nullptr, &length);
  EXPECT_EQ(handed, path);
}

TEST_F(FileSignature, SigningWithoutAnOutputIsLeftToTheProvider) {
  EXPECT_EQ(library.SOF_SignFile("SM2", "a file", nullptr, &length), 0u);
  EXPECT_EQ(std::get<7>(STANDIN(SAF_Ext_SignFile).calls().at(0)), nullptr);
  EXPECT_EQ(length, 9u);
}

TEST_F(FileSignature, SigningContinuesWithANullHandle) {
  STANDIN(SAF_Initialize).plays([](void** application, const char*) {
    *application = open_application();
    return 0x02000005u;
  });
  const auto call = sign_file();
  EXPECT_EQ(call.run(), 0u);
  Lines expected = call.entry_lines(call.arguments);
  expected.push_back("SI_Initialize -> SAF_Initialize, saf_rv = 0x02000005 ");
  EXPECT_EQ(new_lines(), expected);
  EXPECT_EQ(std::get<0>(STANDIN(SAF_Ext_SignFile).calls().at(0)), nullptr);
}

TEST_F(FileSignature, NullArgumentsOfSigning) {
  expect_null_checks(sign_file());
  EXPECT_TRUE(output.untouched(9));
}

TEST_F(FileSignature, AFailureToSignIsLoggedAndMapped) {
  expect_mapped(sign_file(), STANDIN(SAF_Ext_SignFile), "SAF_Ext_SignFile");
  EXPECT_TRUE(output.untouched());
  EXPECT_EQ(length, 64u);
  STANDIN(SAF_Ext_SignFile).returns(0x02000002);
  expect_survives_allocation_faults([&] { return sign_file().run(); });
}

TEST_F(FileSignature, TheSignaturesLengthChoosesTheDigestToVerifyWith) {
  const std::pair<uint32_t, Algorithm> rows[] = {{0, kSm3WithId},  {1, kSm3WithId},   {64, kSm3WithId},
                                                 {72, kSm3WithId}, {127, kSm3WithId}, {128, kSha1},
                                                 {256, kSha256}};
  for (const auto& [size, expected] : rows) {
    SCOPED_TRACE(size);
    EXPECT_EQ(balanced([&] { return verify_file(size).run(); }), 0u);
    EXPECT_EQ(algorithm, expected);
    EXPECT_EQ(std::get<7>(STANDIN(SAF_Ext_VerifySignFileByCert).calls().back()), size);
    EXPECT_THAT(allocated, IsEmpty());
  }
}

TEST_F(FileSignature, OtherLengthsAreRefused) {
  for (const uint32_t size : {129u, 200u, 255u, 257u, 512u, 0xFFFFFFFFu}) {
    const auto call = verify_file(size);
    EXPECT_EQ(balanced([&] { return call.run(); }), 0x0B000200u);
    Lines expected = call.entry_lines(call.arguments);
    expected.push_back(print("SOF_VerifySignedFile:unsupport signature length: %u", size));
    EXPECT_EQ(new_lines(), expected);
  }
  EXPECT_THAT(standins.call_log(), IsEmpty());
}

TEST_F(FileSignature, VerifyingPassesItsArgumentsAndOpensNoHandle) {
  expect_handed(
      verify_file(128), STANDIN(SAF_Ext_VerifySignFileByCert),
      [](const uint8_t* given, uint32_t given_length, const char* path, const uint8_t* value, uint32_t size) {
        return std::tuple(2u, given, given_length, static_cast<const uint8_t*>(nullptr), 0u, path, value,
                          size);
      });
  EXPECT_THAT(standins.call_log(), ElementsAre("SAF_Ext_VerifySignFileByCert"));
}

TEST_F(FileSignature, NullArgumentsOfVerifying) { expect_null_checks(verify_file()); }

TEST_F(FileSignature, AFailureToVerifyIsLoggedAndMapped) {
  expect_mapped(verify_file(), STANDIN(SAF_Ext_VerifySignFileByCert), "SAF_Ext_VerifySignFileByCert");
  STANDIN(SAF_Ext_VerifySignFileByCert).returns(0x02000002);
  expect_survives_allocation_faults([&] { return verify_file().run(); });
}

}  // namespace

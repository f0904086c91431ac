// Tests every function that calls the local service, with real keys.
#include <atomic>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "library_calls.h"
#include "service_process.h"

namespace {

constexpr uint32_t kEncryptionKey = 1;
constexpr uint32_t kSigningKey = 2;

uint32_t verify(const Bytes& certificate, const Bytes& data, const Bytes& signature) {
  return SOF_VerifySignedData(certificate.data(), size_of(certificate), data.data(), size_of(data),
                              signature.data(), size_of(signature));
}

TEST(Environment, VersionAndRandom) {
  char version[128] = "";
  EXPECT_EQ(SOF_GetVersion(version), SOR_OK);
  EXPECT_STREQ(version, "1.0.0");
  Bytes first(1000);
  Bytes second(1000);
  EXPECT_EQ(SOF_GenRandom(1000, first.data()), SOR_OK);
  EXPECT_EQ(SOF_GenRandom(1000, second.data()), SOR_OK);
  EXPECT_NE(first, second);
  EXPECT_EQ(SOF_GenRandom(0, first.data()), SOR_OK);
}

TEST(Environment, UserListIsInGbk) {
  uint32_t length = 0;
  ASSERT_EQ(SOF_GetUserList(nullptr, &length), SOR_OK);
  std::string list(length, '\0');
  ASSERT_EQ(SOF_GetUserList(list.data(), &length), SOR_OK);
  list.resize(length);
  EXPECT_THAT(list, testing::StartsWith("SM2_DEMO&&&RSA_2048_DEMO&&&"));
  EXPECT_THAT(list, testing::HasSubstr("\xD1\xDD\xCA\xBE\xC8\xDD\xC6\xF7_SM2"));
}

TEST(Environment, DeviceInformation) {
  Bytes info(256);
  uint32_t length = 256;
  EXPECT_EQ(SOF_GetDeviceInfo("SM2_DEMO", 0x203, info.data(), &length), SOR_OK);
  info.resize(length);
  EXPECT_EQ(info, bytes_of("VELM Software Token"));
}

TEST(Environment, Configuration) {
  const Bytes never{0, 0, 0, 0};
  EXPECT_EQ(SOF_Config(1, never.data(), size_of(never)), SOR_OK);
  EXPECT_EQ(SOF_Config(99, never.data(), size_of(never)), 0x0B000419u);
}

TEST(Login, StateFollowsLoginAndLogout) {
  const char* name = "SEAL_SM2_DEMO";
  EXPECT_EQ(SOF_Ext_isLogin(name, 0), SOR_NOTLOGINERR);
  EXPECT_EQ(SOF_Login(name, kPin), SOR_OK);
  EXPECT_EQ(SOF_Ext_isLogin(name, 0), SOR_OK);
  EXPECT_EQ(SOF_Ext_Logout(name, 0), SOR_OK);
  EXPECT_EQ(SOF_Ext_isLogin(name, 0), SOR_NOTLOGINERR);
  Bytes signature(1024);
  uint32_t length = size_of(signature);
  EXPECT_EQ(SOF_SignData(name, signature.data(), 1, signature.data(), &length), SOR_NOTLOGINERR);
  EXPECT_EQ(SOF_Login("nobody", kPin), SOR_CONTAINERNOTFOUNDERR);
}

TEST(Login, ANameInUtf8OrGbkFindsItsContainer) {
  EXPECT_EQ(SOF_Login("演示容器_SM2", kPin), SOR_OK);
  EXPECT_EQ(SOF_Ext_isLogin("\xD1\xDD\xCA\xBE\xC8\xDD\xC6\xF7_SM2", 0), SOR_OK);
}

TEST(Login, TenWrongPinsLockAContainer) {
  const char* name = "REVOKED_SM2_DEMO";
  uint32_t left = 0;
  for (uint32_t expected = 10; expected > 0; --expected) {
    ASSERT_EQ(SOF_GetPinRetryCount(name, &left), SOR_OK);
    EXPECT_EQ(left, expected);
    EXPECT_EQ(SOF_Login(name, "wrong"), SOR_PINERR);
  }
  EXPECT_EQ(SOF_Login(name, kPin), SOR_PINLOCKEDERR);
}

TEST(Login, AChangedPinReplacesTheOldOne) {
  const char* name = "EXPIRED_RSA_2048_DEMO";
  const std::string longest(31, 'p');
  EXPECT_EQ(SOF_ChangePassWd(name, "wrong", longest.c_str()), SOR_PINERR);
  EXPECT_EQ(SOF_ChangePassWd(name, kPin, longest.c_str()), SOR_OK);
  EXPECT_EQ(SOF_Login(name, kPin), SOR_PINERR);
  EXPECT_EQ(SOF_Login(name, longest.c_str()), SOR_OK);
}

class EveryKey : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override { ASSERT_EQ(SOF_Login(name, kPin), SOR_OK); }

  const char* name = GetParam();
  const Bytes data = bytes_of("some data");
};

INSTANTIATE_TEST_SUITE_P(All, EveryKey, testing::ValuesIn(kKeys),
                         [](const auto& test) { return std::string(test.param); });

TEST_P(EveryKey, CertificatesNameTheContainer) {
  for (const Bytes& certificate : {signing_certificate(name), encryption_certificate(name)}) {
    const Bytes subject = output_of([&](uint8_t* out, uint32_t* length) {
      return SOF_GetCertInfo(certificate.data(), size_of(certificate), 0x31, out, length);
    });
    EXPECT_EQ(subject, bytes_of(name));
    Bytes value(1024);
    uint32_t length = size_of(value);
    EXPECT_EQ(
        SOF_GetCertInfoByOid(certificate.data(), size_of(certificate), "2.5.4.3", value.data(), &length),
        SOR_OK);
    value.resize(length);
    EXPECT_EQ(value, bytes_of(name));
    EXPECT_EQ(SOF_ValidateCert(certificate.data(), size_of(certificate)), SOR_OK);
  }
}

TEST_P(EveryKey, SignsAndVerifiesData) {
  const Bytes certificate = signing_certificate(name);
  const Bytes signature = sign(name, data);
  EXPECT_EQ(verify(certificate, data, signature), SOR_OK);
  EXPECT_EQ(verify(certificate, bytes_of("some dbta"), signature), SOR_VERIFYSIGNDATAERR);
}

TEST_P(EveryKey, SignsAHash) {
  const Digest digest = digest_of_key(name);
  const Bytes hash(digest == kSha1 ? 20 : 32, 0x5A);
  const Bytes signature = output_of([&](uint8_t* out, uint32_t* length) {
    return SOF_Ext_SignHash(name, digest, 1, hash.data(), size_of(hash), out, length);
  });
  EXPECT_GE(signature.size(), 64u);
}

TEST_P(EveryKey, SignsMessagesAttachedAndDetached) {
  for (const int32_t flag : {0, 1}) {
    const Bytes message = output_of([&](uint8_t* out, uint32_t* length) {
      return SOF_SignMessage(flag, name, data.data(), size_of(data), out, length);
    });
    const auto verdict = [&](const Bytes& content) {
      return SOF_VerifySignedMessage(message.data(), size_of(message), content.data(), size_of(content));
    };
    EXPECT_EQ(verdict(data), SOR_OK);
    EXPECT_EQ(verdict(bytes_of("some dbta")), SOR_VERIFYSIGNDATAERR);
    EXPECT_EQ(verdict({}), flag == 0 ? SOR_OK : SOR_VERIFYSIGNDATAERR);
    const auto item = [&](int32_t number) {
      return output_of([&](uint8_t* out, uint32_t* length) {
        return SOF_GetInfoFromSignedMessage(message.data(), size_of(message), number, out, length);
      });
    };
    if (flag == 0) {
      EXPECT_EQ(item(1), data);
    }
    EXPECT_EQ(item(2), signing_certificate(name));
    EXPECT_EQ(verify(item(2), data, item(3)), SOR_OK);
  }
}

TEST_P(EveryKey, EncryptsAndDecrypts) {
  const Bytes certificate = encryption_certificate(name);
  for (const size_t size : {0u, 1u, 16u, 300000u}) {
    const Bytes plain(size, 'p');
    Bytes given = plain;
    given.push_back(0);  // at least one byte, so that the pointer is not null
    const Bytes envelope = output_of([&](uint8_t* out, uint32_t* length) {
      return SOF_EncryptData(certificate.data(), size_of(certificate), given.data(), size_of(plain), out,
                             length);
    });
    EXPECT_EQ(output_of([&](uint8_t* out, uint32_t* length) {
                return SOF_DecryptData(name, envelope.data(), size_of(envelope), out, length);
              }),
              plain);
  }
}

TEST_P(EveryKey, EncryptsWithItsPublicKey) {
  for (const uint32_t specifier : {kEncryptionKey, kSigningKey}) {
    const Bytes key = output_of([&](uint8_t* out, uint32_t* length) {
      return SOF_Ext_ExportPublicKey(name, specifier, out, length);
    });
    const Bytes cipher = output_of([&](uint8_t* out, uint32_t* length) {
      return SOF_Ext_AsymmEncryptData(key.data(), size_of(key), data.data(), size_of(data), out, length);
    });
    EXPECT_EQ(output_of([&](uint8_t* out, uint32_t* length) {
                return SOF_Ext_AsymmDecryptData(name, specifier, cipher.data(), size_of(cipher), out, length);
              }),
              data);
  }
}

TEST_P(EveryKey, KeepsUserData) {
  const Bytes pin = bytes_of(kPin);
  const auto write = [&](const Bytes& given_pin) {
    return SOF_Ext_WriteUsrDataFile(name, given_pin.data(), size_of(given_pin), 1, 2, 3, size_of(data),
                                    data.data());
  };
  EXPECT_EQ(write(bytes_of("wrong")), SOR_PINERR);
  EXPECT_EQ(write(pin), SOR_OK);
  Bytes found(data.size());
  EXPECT_EQ(SOF_Ext_ReadUsrDataFile(name, 1, 2, 3, size_of(found), found.data()), SOR_OK);
  EXPECT_EQ(found, data);
  EXPECT_EQ(SOF_Ext_ReadUsrDataFile(name, 1, 99, 0, size_of(found), found.data()), SOR_FILENOTFOUNDERR);
}

TEST(Certificates, ExpiredAndRevokedOnesAreDistinguished) {
  const Bytes expired = signing_certificate("EXPIRED_RSA_2048_DEMO");
  const Bytes revoked = signing_certificate("REVOKED_SM2_DEMO");
  EXPECT_EQ(SOF_ValidateCert(expired.data(), size_of(expired)), SOR_CERTHASEXPIREDERR);
  EXPECT_EQ(SOF_ValidateCert(revoked.data(), size_of(revoked)), SOR_CERTREVOKEDERR);
}

TEST(Seals, AreCountedAndDescribed) {
  uint32_t count = 0;
  EXPECT_EQ(SOF_Ext_EnumSeal("SEAL_SM2_DEMO", &count), SOR_OK);
  EXPECT_EQ(count, 2u);
  Bytes info(49152);
  uint32_t length = size_of(info);
  EXPECT_EQ(SOF_Ext_GetSeaInfo("SEAL_SM2_DEMO", 1, 2, info.data(), &length), SOR_OK);
  info.resize(length);
  EXPECT_EQ(info, bytes_of("演示合同章"));
  EXPECT_EQ(SOF_Ext_GetSeaInfo("SEAL_SM2_DEMO", 2, 2, info.data(), &length), SOR_SEALNOTFOUNDERR);
}

// The body of the request is larger than the data: base64, or a frame.
TEST(LargeData, IsSignedAndVerifiedUpToTheBodyLimit) {
  constexpr size_t kMebibyte = 1024 * 1024;
  const char* name = kKeys[0];
  const Bytes certificate = signing_certificate(name);
  const Bytes accepted(64 * kMebibyte, 'd');
  EXPECT_EQ(verify(certificate, accepted, sign(name, accepted)), SOR_OK);

  const Bytes rejected(97 * kMebibyte, 'd');
  Bytes output(rejected.size() + 2048);
  uint32_t length = size_of(output);
  EXPECT_EQ(SOF_SignData(name, rejected.data(), size_of(rejected), output.data(), &length), SOR_INDATALENERR);
  EXPECT_EQ(SOF_EncryptData(certificate.data(), size_of(certificate), rejected.data(), size_of(rejected),
                            output.data(), &length),
            SOR_INDATALENERR);
  EXPECT_EQ(length, size_of(output));
}

TEST(Concurrency, ConcurrentClientsGetTheirOwnResponses) {
  for (const char* name : kKeys) ASSERT_EQ(SOF_Login(name, kPin), SOR_OK);
  std::atomic<int> failures{0};
  std::vector<std::thread> clients;
  for (int client = 0; client < 6; ++client) {
    clients.emplace_back([&, client] {
      const char* name = kKeys[client % 3];
      const Bytes certificate = signing_certificate(name);
      for (int turn = 0; turn < 20; ++turn) {
        const Bytes data = bytes_of(std::to_string(client) + "-" + std::to_string(turn));
        if (verify(certificate, data, sign(name, data)) != SOR_OK) ++failures;
      }
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(failures, 0);
}

TEST(Finalize, Succeeds) { EXPECT_EQ(SOF_Finalize(), SOR_OK); }

// Runs the local service for the whole test program.
class Service : public testing::Environment {
 public:
  void SetUp() override { process_.emplace(); }
  void TearDown() override { process_.reset(); }

 private:
  std::optional<ServiceProcess> process_;
};

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  testing::AddGlobalTestEnvironment(new Service);
  return RUN_ALL_TESTS();
}

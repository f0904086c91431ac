// What the library does in process, through the token's provider modules and the keys of the service.
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "velm_sof_client.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr const char* kPin = "12345678";
constexpr const char* kFile = "provider_functions.txt";
constexpr const char* kEnvelope = "provider_functions.p7m";
constexpr const char* kOpened = "provider_functions.out";
constexpr const char* kContainers[] = {"SM2_SCAN_CONTAINER_DEMO", "RSA_2048_SCAN_CONTAINER_DEMO"};

uint32_t size_of(const Bytes& bytes) { return static_cast<uint32_t>(bytes.size()); }

void write(const char* path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

Bytes read(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// What a call writes into a buffer that is large enough.
template <typename Call>
Bytes output_of(uint32_t& code, Call call) {
  Bytes output(1 << 20);
  uint32_t length = size_of(output);
  code = call(output.data(), &length);
  output.resize(code == SOR_OK ? length : 0);
  return output;
}

Bytes certificate_of(const char* container) {
  uint32_t code = 0;
  return output_of(
      code, [&](uint8_t* out, uint32_t* length) { return SOF_ExportUserCert(container, out, length); });
}

class ProviderFunctions : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* container : kContainers) ASSERT_EQ(SOF_Login(container, kPin), SOR_OK);
    write(kFile, content_);
  }
  void TearDown() override {
    for (const char* path : {kFile, kEnvelope, kOpened}) std::remove(path);
  }

  Bytes content_ = Bytes(100000, 'f');
};

TEST_F(ProviderFunctions, FilesAreSigned) {
  for (const char* container : {"SM2_DEMO", "RSA_2048_DEMO", "RSA_1024_DEMO"}) {
    ASSERT_EQ(SOF_Login(container, kPin), SOR_OK);
    uint32_t code = 0;
    const Bytes signature = output_of(
        code, [&](uint8_t* out, uint32_t* length) { return SOF_SignFile(container, kFile, out, length); });
    ASSERT_EQ(code, SOR_OK) << container;
    const Bytes certificate = certificate_of(container);
    const auto verify = [&] {
      return SOF_VerifySignedFile(certificate.data(), size_of(certificate), kFile, signature.data(),
                                  size_of(signature));
    };
    EXPECT_EQ(verify(), SOR_OK);
    Bytes altered = content_;
    altered[50000] ^= 1;
    write(kFile, altered);
    EXPECT_NE(verify(), SOR_OK);
    write(kFile, content_);
    ASSERT_EQ(SOF_Ext_Logout(container, 0), SOR_OK);
    output_of(code,
              [&](uint8_t* out, uint32_t* length) { return SOF_SignFile(container, kFile, out, length); });
    EXPECT_EQ(code, 0x0B000438u);
  }
}

TEST_F(ProviderFunctions, SignedFileMessagesVerifyAttachedAndDetached) {
  for (const char* container : kContainers) {
    for (const uint32_t flag : {0u, 1u}) {
      uint32_t code = 0;
      const Bytes message = output_of(code, [&](uint8_t* out, uint32_t* length) {
        return SOF_Ext_PKCS7_SignFile(flag, container, kFile, out, length);
      });
      ASSERT_EQ(code, SOR_OK) << container << flag;
      const auto verify = [&](const Bytes& candidate) {
        return SOF_Ext_PKCS7_VerifySignedFile(flag, candidate.data(), size_of(candidate), kFile);
      };
      EXPECT_EQ(verify(message), SOR_OK) << container << flag;
      Bytes altered = message;
      altered[message.size() - 1] ^= 1;
      EXPECT_NE(verify(altered), SOR_OK);
      if (flag == 0) continue;
      write(kFile, Bytes(100000, 'g'));
      EXPECT_EQ(verify(message), 0x0B000302u);
      write(kFile, content_);
    }
  }
}

TEST_F(ProviderFunctions, FilesGoIntoEnvelopesAndBack) {
  for (const uint32_t type : {1u, 2u}) {
    SOF_Ext_SetEnvelopType(type);
    for (const char* container : kContainers) {
      const Bytes certificate = certificate_of(container);
      ASSERT_EQ(SOF_EncryptFile(certificate.data(), size_of(certificate), kFile, kEnvelope), SOR_OK)
          << container;
      ASSERT_EQ(SOF_DecryptFile(container, kEnvelope, kOpened), SOR_OK) << container;
      EXPECT_EQ(read(kOpened), content_);
    }
  }
}

TEST_F(ProviderFunctions, DataIsStamped) {
  uint32_t code = 0;
  const std::string label = "TIME_STAMP_AUTHORITY";
  const Bytes authority = output_of(code, [&](uint8_t* out, uint32_t* length) {
    return SOF_Ext_ReadLabel("SM2_DEMO", label.c_str(),
                             static_cast<uint32_t>(label.size()), 7, out, length);
  });
  ASSERT_EQ(code, SOR_OK);
  const Bytes stamp = output_of(code, [&](uint8_t* out, uint32_t* length) {
    return SOF_Ext_GM_Tsp_SealTimeStamp(0, content_.data(), size_of(content_), out, length);
  });
  ASSERT_EQ(code, SOR_OK);
  const Bytes time = output_of(code, [&](uint8_t* out, uint32_t* length) {
    return SOF_Ext_GM_Tsp_VerifyTimeStamp(content_.data(), size_of(content_), stamp.data(), size_of(stamp),
                                          authority.data(), size_of(authority), out, length);
  });
  EXPECT_EQ(code, SOR_OK);
  EXPECT_EQ(time.size(), 15u);
}

}  // namespace

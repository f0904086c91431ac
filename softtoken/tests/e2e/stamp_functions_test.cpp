// Tests time-stamp tokens of the local service's TSA.
#include "library_calls.h"

namespace {

constexpr const char* kFile = "stamp_functions.txt";
const Bytes kPath = bytes_of(kFile);
const Bytes kContent(5000, 's');

Bytes authority_certificate(const std::string& label) {
  return output_of([&](uint8_t* out, uint32_t* length) {
    return SOF_Ext_ReadLabel("SM2_DEMO", label.c_str(), static_cast<uint32_t>(label.size()), 7, out, length);
  });
}

class TimeStampFunctions : public testing::Test {
 protected:
  void SetUp() override { write_file(kFile, kContent); }
  void TearDown() override { std::remove(kFile); }

  const Bytes rsa_ = authority_certificate("TIME_STAMP_AUTHORITY");
  const Bytes sm2_ = authority_certificate("TIME_STAMP_AUTHORITY_SM2");
};

// The three verification functions have the same signature.
using Verify = decltype(&SOF_Ext_TspVerifyStamp);

uint32_t verify(Verify function, const Bytes& input, const Bytes& stamp, const Bytes& certificate) {
  char time[32] = "";
  uint32_t length = sizeof time;
  const uint32_t code =
      function(input.data(), size_of(input), stamp.data(), size_of(stamp), certificate.data(),
               size_of(certificate), reinterpret_cast<uint8_t*>(time), &length);
  if (code == SOR_OK) {
    EXPECT_EQ(length, 15u);
    EXPECT_EQ(std::string(time, 2) + time[14], "20Z");
  }
  return code;
}

void expect_verified(Verify function, const Bytes& input, const Bytes& stamp, const Bytes& authority,
                     const Bytes& other) {
  EXPECT_EQ(verify(function, input, stamp, authority), SOR_OK);
  EXPECT_EQ(verify(function, input, stamp, other), SOR_HASHNOTEQUALERR);
  EXPECT_EQ(verify(function, input, stamp, kContent), SOR_CERTENCODEERR);
  EXPECT_EQ(verify(function, input, kContent, authority), SOR_TSRESPONSEERR);
  // The token ends with the signature, whose last bytes belong to an integer.
  for (size_t i = stamp.size() - 32; i < stamp.size(); ++i)
    EXPECT_EQ(verify(function, input, altered_at(stamp, i), authority), SOR_HASHNOTEQUALERR) << i;
}

TEST_F(TimeStampFunctions, DataIsTimeStamped) {
  const Bytes stamp = output_of([&](uint8_t* out, uint32_t* length) {
    return SOF_Ext_TspGetStamp("SM2_DEMO", kContent.data(), size_of(kContent), out, length);
  });
  expect_verified(SOF_Ext_TspVerifyStamp, kContent, stamp, rsa_, sm2_);
  EXPECT_EQ(verify(SOF_Ext_TspVerifyStamp, altered_at(kContent, 1), stamp, rsa_), SOR_HASHNOTEQUALERR);
}

TEST_F(TimeStampFunctions, FilesAreTimeStamped) {
  const Bytes stamp = output_of([&](uint8_t* out, uint32_t* length) {
    return SOF_Ext_TspGetFileStamp("SM2_DEMO", kPath.data(), size_of(kPath), out, length);
  });
  expect_verified(SOF_Ext_TspVerifyFileStamp, kPath, stamp, rsa_, sm2_);
  write_file(kFile, altered_at(kContent, 4999));
  EXPECT_EQ(verify(SOF_Ext_TspVerifyFileStamp, kPath, stamp, rsa_), SOR_HASHNOTEQUALERR);
  std::remove(kFile);
  EXPECT_EQ(verify(SOF_Ext_TspVerifyFileStamp, kPath, stamp, rsa_), SOR_FILEOPENERR);
}

TEST_F(TimeStampFunctions, TheDigestSelectsTheKeyOfTheTsa) {
  const struct {
    uint32_t selector;
    const Bytes& authority;
    const Bytes& other;
  } cases[] = {{0, sm2_, rsa_}, {kSm3, sm2_, rsa_}, {kSha1, rsa_, sm2_}, {kSha256, rsa_, sm2_}};
  for (const auto& [selector, authority, other] : cases) {
    SCOPED_TRACE(selector);
    const Bytes stamp = output_of([&, number = selector](uint8_t* out, uint32_t* length) {
      return SOF_Ext_GM_Tsp_SealTimeStamp(number, kContent.data(), size_of(kContent), out, length);
    });
    expect_verified(SOF_Ext_GM_Tsp_VerifyTimeStamp, kContent, stamp, authority, other);
    EXPECT_EQ(verify(SOF_Ext_GM_Tsp_VerifyTimeStamp, altered_at(kContent, 1), stamp, authority),
              SOR_HASHNOTEQUALERR);
  }
  uint32_t length = 0;
  EXPECT_EQ(SOF_Ext_GM_Tsp_SealTimeStamp(3, kContent.data(), 1, nullptr, &length), SOR_ALGOTYPEERR);
}

TEST_F(TimeStampFunctions, TheTsaReturnsItsTime) {
  for (const auto function : {&SOF_Ext_TspGetTime, &SOF_Ext_GM_Tsp_GetTime}) {
    const std::string time = text_of(output_of(function));
    EXPECT_EQ(time.size(), 15u);
    EXPECT_EQ(time.substr(0, 2), "20");
  }
}

}  // namespace

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "provider_abi/velm_client_saf.h"
#include "provider_abi/velm_openssl_api.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/samples.h"

namespace velm::token {
namespace {

constexpr uint32_t kSm2Signature = 0x00020200;

struct Case {
  const Signer& signer;
  DigestId digest;
};

std::vector<Case> cases() {
  return {{sm2_signer(), DigestId::sm3},
          {rsa_2048_signer(), DigestId::sha256},
          {rsa_1024_signer(), DigestId::sha1}};
}

const Bytes kText = copy_of(as_bytes("what was signed"));

TEST(Verification, OfDataAcceptsTheSignatureAndNoAlteredByte) {
  for (const auto& [signer, digest] : cases()) {
    const auto verify = [&](const Bytes& data, const Bytes& signature) {
      return SAF_VerifySignByCert(static_cast<uint32_t>(digest), signer.certificate.data(),
                                  signer.certificate_length(), data.data(), size_of(data), signature.data(),
                                  size_of(signature));
    };
    const Bytes signature = sign_data(signer.key.get(), digest, kText);
    EXPECT_EQ(verify(kText, signature), 0u);
    for (size_t i = 0; i < kText.size(); ++i) {
      Bytes altered = kText;
      altered[i] ^= 1;
      EXPECT_EQ(verify(altered, signature), kSafHashNotEqual);
    }
    for (size_t i = 0; i < signature.size(); ++i) {
      Bytes altered = signature;
      altered[i] ^= 1;
      EXPECT_EQ(verify(kText, altered), kSafHashNotEqual) << i;
    }
    EXPECT_EQ(verify(kText, {}), kSafHashNotEqual);
  }
}

TEST(Verification, OfAHashAcceptsTheSignature) {
  for (const auto& [signer, digest] : cases()) {
    const Bytes value = hash(digest, kText);
    const Bytes signature = sign_hash(signer.key.get(), digest, value);
    const auto verify = [&](ByteView hash_value) {
      return SAF_Ext_VerifySignHashByCert(static_cast<uint32_t>(digest), signer.certificate.data(),
                                          signer.certificate_length(), hash_value.data(), size_of(hash_value),
                                          signature.data(), size_of(signature));
    };
    EXPECT_EQ(verify(value), 0u);
    EXPECT_EQ(verify(hash(digest, as_bytes("another"))), kSafHashNotEqual);
    EXPECT_EQ(verify(as_bytes("short")), kSafBadLength);
  }
}

TEST(Verification, OfAnSm2HashNamesItsAlgorithm) {
  const Signer& signer = sm2_signer();
  const Bytes value = hash(DigestId::sm3, kText);
  const Bytes signature = sign_hash(signer.key.get(), DigestId::sm3, value);
  const auto verify = [&](uint32_t algorithm, const Signer& by, ByteView hash_value) {
    return SAF_EccVerifySignByCert(algorithm, by.certificate.data(), by.certificate_length(),
                                   hash_value.data(), size_of(hash_value), signature.data(),
                                   size_of(signature));
  };
  EXPECT_EQ(verify(kSm2Signature, signer, value), 0u);
  EXPECT_EQ(verify(kSm2Signature, signer, hash(DigestId::sm3, as_bytes("another"))), kSafHashNotEqual);
  EXPECT_EQ(verify(kSm2Signature, signer, as_bytes("short")), kSafBadLength);
  EXPECT_EQ(verify(kSm2Signature, rsa_2048_signer(), value), kSafAlgorithm);
  EXPECT_EQ(verify(0x00020100, signer, value), kSafAlgorithm);
}

TEST(Verification, OfAFileAcceptsTheSignature) {
  const Bytes content(200000, 7);
  write_file("verification_test.bin", content);
  const ByteView default_id = as_bytes("1234567812345678");
  for (const auto& [signer, digest] : cases()) {
    Bytes signature = sign_data(signer.key.get(), digest, content);
    const auto verify = [&](ByteView id, const char* path) {
      return SAF_Ext_VerifySignFileByCert(static_cast<uint32_t>(digest), signer.certificate.data(),
                                          signer.certificate_length(), id.data(), size_of(id), path,
                                          signature.data(), size_of(signature));
    };
    const bool sm2 = digest == DigestId::sm3;
    EXPECT_EQ(verify(sm2 ? default_id : ByteView(), "verification_test.bin"), 0u);
    EXPECT_EQ(verify({}, "verification_test.bin"), 0u);
    if (sm2) {
      EXPECT_EQ(verify(as_bytes("another ID"), "verification_test.bin"), kSafHashNotEqual);
    }
    EXPECT_EQ(verify({}, "no such file"), kSafFileOpen);
    signature.back() ^= 1;
    EXPECT_EQ(verify({}, "verification_test.bin"), kSafHashNotEqual);
  }
  std::remove("verification_test.bin");
}

TEST(Verification, RefusesAMixOfKeyAndDigestAndABadCertificate) {
  const Signer& signer = sm2_signer();
  const auto verify = [&](uint32_t digest, const uint8_t* certificate, uint32_t length) {
    return SAF_VerifySignByCert(digest, certificate, length, kText.data(), size_of(kText), kText.data(),
                                size_of(kText));
  };
  EXPECT_EQ(verify(4, signer.certificate.data(), signer.certificate_length()), kSafAlgorithm);
  EXPECT_EQ(verify(1, rsa_2048_signer().certificate.data(), rsa_2048_signer().certificate_length()),
            kSafAlgorithm);
  EXPECT_EQ(verify(9, rsa_2048_signer().certificate.data(), rsa_2048_signer().certificate_length()),
            kSafAlgorithm);
  EXPECT_EQ(verify(1, signer.certificate.data(), signer.certificate_length() - 1), kSafCertificateFormat);
  EXPECT_EQ(verify(1, nullptr, 10), kSafBadInput);
  EXPECT_EQ(verify(1, signer.certificate.data(), 0), kSafBadLength);
}

TEST(CertificateItems, HoldThePublicKeyAndTheNames) {
  for (const auto& [signer, digest] : cases()) {
    const auto item = [&](uint32_t number, uint32_t& code) {
      return sized_output(
          [&](uint8_t* output, uint32_t* length) {
            return SAF_GetCertificateInfo(nullptr, signer.certificate.data(), signer.certificate_length(),
                                          number, output, length);
          },
          code);
    };
    uint32_t code = 0;
    EXPECT_EQ(item(8, code), public_key_bytes(signer.key.get()));
    EXPECT_EQ(as_text(item(0x31, code)), "Sample");
    item(0x7777, code);
    EXPECT_EQ(code, kSafNotSupported);
  }
}

// The library and modules of other makers share the layout, so it is tested without the header.
TEST(CertificateRecord, HasItsNumbersAtFixedPlaces) {
  constexpr size_t kTypeAt = 36;
  constexpr size_t kLengthAt = 1172;
  const Signer& signer = rsa_2048_signer();
  Bytes record(6008);
  ASSERT_EQ(VELM_Openssl_ParseCertInfo(signer.certificate.data(), signer.certificate_length(), 17, 0,
                                       record.data()),
            0);
  const auto take_number = [&](size_t at) {
    uint32_t number = 0;
    std::memcpy(&number, record.data() + at, sizeof number);
    std::fill_n(record.begin() + static_cast<ptrdiff_t>(at), sizeof number, uint8_t{0});
    return number;
  };
  EXPECT_EQ(take_number(kTypeAt), 1u);
  EXPECT_EQ(take_number(kLengthAt), 270u);
  EXPECT_EQ(record, Bytes(6008)) << "something else was written";
}

TEST(CertificateRecord, HoldsTypeAndKeyLength) {
  const std::pair<const Signer&, std::pair<uint32_t, uint32_t>> expected[] = {
      {rsa_1024_signer(), {1, 140}}, {rsa_2048_signer(), {1, 270}}, {sm2_signer(), {2, 65}}};
  for (const auto& [signer, values] : expected) {
    for (const uint32_t mode : {1u, 17u}) {
      CertificateRecord record{};
      ASSERT_EQ(VELM_Openssl_ParseCertInfo(signer.certificate.data(), signer.certificate_length(), mode, 0,
                                           &record),
                0);
      EXPECT_EQ(record.public_key_type, values.first);
      EXPECT_EQ(record.public_key_length, values.second);
    }
  }
  CertificateRecord record{};
  EXPECT_NE(VELM_Openssl_ParseCertInfo(kText.data(), size_of(kText), 1, 0, &record), 0);
  EXPECT_NE(VELM_Openssl_ParseCertInfo(nullptr, 5, 1, 0, &record), 0);
  EXPECT_NE(VELM_Openssl_ParseCertInfo(kText.data(), size_of(kText), 1, 0, nullptr), 0);
}

}  // namespace
}  // namespace velm::token

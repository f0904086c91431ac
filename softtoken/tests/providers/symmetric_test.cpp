#include <gtest/gtest.h>

#include "provider_abi/velm_client_saf.h"
#include "provider_abi/velm_openssl_api.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/samples.h"

namespace velm::token {
namespace {

// Algorithm numbers with key lengths and block sizes, and the identifiers used for files.
struct Cipher {
  uint32_t number;
  uint32_t identifier;
  uint32_t key_length;
  uint32_t block;
};
constexpr Cipher kCiphers[] = {{108, 0x400, 16, 16},  {101, 0x2000, 24, 8},  {101, 0x2000, 16, 8},
                               {107, 0x4000, 16, 16}, {107, 0x8000, 24, 16}, {107, 0x10000, 32, 16}};
constexpr uint32_t kModes[] = {1, 2, 3, 4};

const Bytes kKey = hex("0123456789abcdeffedcba98765432100f1e2d3c4b5a69788796a5b4c3d2e1f0");
const Bytes kIv = hex("000102030405060708090a0b0c0d0e0f");

using Convert = int32_t (*)(void*, const uint8_t*, uint32_t, uint8_t*, uint32_t*);

Bytes run(uint32_t number, uint32_t key_length, uint32_t mode, bool encrypt, ByteView input,
          int32_t& result) {
  void* context = nullptr;
  result = VELM_Openssl_SymmAcquireContext(&context, number, encrypt ? 1 : 0, kKey.data(), key_length,
                                           kIv.data(), mode);
  if (result != 0) return {};
  const Convert convert = encrypt ? VELM_Openssl_Encrypt : VELM_Openssl_Decrypt;
  Bytes output(input.size() + 16);
  uint32_t length = 0;
  result = convert(context, input.data(), size_of(input), output.data(), &length);
  EXPECT_EQ(VELM_Openssl_SymmReleaseCtx(context), 0);
  output.resize(length);
  return output;
}

TEST(SymmetricContext, GivesThePublishedSm4Vector) {
  int32_t result = 0;
  const Bytes plain = hex("0123456789abcdeffedcba9876543210");
  const Bytes cipher = run(108, 16, 1, true, plain, result);
  ASSERT_EQ(cipher.size(), 32u);
  EXPECT_EQ(copy_of(ByteView(cipher).first(16)), hex("681edf34d206965e86b3e94f536e4246"));
}

TEST(SymmetricContext, GoesThereAndBackInEveryCipherModeAndLength) {
  for (const Cipher& cipher : kCiphers) {
    for (const uint32_t mode : kModes) {
      for (const size_t size : {0, 1, 7, 8, 15, 16, 17, 1000}) {
        int32_t result = 0;
        const Bytes plain(size, 0x33);
        const Bytes encrypted = run(cipher.number, cipher.key_length, mode, true, plain, result);
        ASSERT_EQ(result, 0);
        const size_t padded = (size / cipher.block + 1) * cipher.block;
        EXPECT_EQ(encrypted.size(), mode <= 2 ? padded : size);
        EXPECT_EQ(run(cipher.number, cipher.key_length, mode, false, encrypted, result), plain);
        EXPECT_EQ(result, 0);
      }
    }
  }
}

TEST(SymmetricContext, RefusesWhatItCannotDo) {
  int32_t result = 0;
  run(0, 16, 2, true, kIv, result);
  EXPECT_NE(result, 0);
  run(108, 16, 0, true, kIv, result);
  EXPECT_NE(result, 0);
  run(108, 17, 2, true, kIv, result);
  EXPECT_NE(result, 0);
  void* context = nullptr;
  EXPECT_NE(VELM_Openssl_SymmAcquireContext(&context, 108, 1, kKey.data(), 16, nullptr, 2), 0);
  EXPECT_NE(VELM_Openssl_SymmAcquireContext(&context, 108, 1, nullptr, 16, kIv.data(), 2), 0);
  EXPECT_EQ(context, nullptr);
  EXPECT_NE(VELM_Openssl_SymmReleaseCtx(nullptr), 0);
  EXPECT_EQ(VELM_Openssl_SymmAcquireContext(&context, 108, 1, kKey.data(), 16, nullptr, 1), 0);
  uint8_t output[32];
  uint32_t length = 0;
  EXPECT_NE(VELM_Openssl_Decrypt(context, kIv.data(), 16, output, &length), 0);
  EXPECT_EQ(VELM_Openssl_SymmReleaseCtx(context), 0);
}

TEST(SymmetricContext, RefusesCipherTextWithoutValidPaddingAndWritesNothing) {
  void* context = nullptr;
  ASSERT_EQ(VELM_Openssl_SymmAcquireContext(&context, 108, 0, kKey.data(), 16, kIv.data(), 2), 0);
  Bytes output(64, 0xAA);
  uint32_t length = 0;
  EXPECT_NE(VELM_Openssl_Decrypt(context, kKey.data(), 32, output.data(), &length), 0);
  EXPECT_NE(VELM_Openssl_Decrypt(context, kKey.data(), 31, output.data(), &length), 0);
  EXPECT_EQ(output, Bytes(64, 0xAA));
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(VELM_Openssl_SymmReleaseCtx(context), 0);
}

TEST(SymmetricFile, AgreesWithTheContextInEveryCipherAndMode) {
  const Bytes plain(150001, 0x21);
  write_file("symmetric.in", plain);
  for (const Cipher& cipher : kCiphers) {
    for (const uint32_t mode : kModes) {
      const uint32_t identifier = cipher.identifier | 1u << (mode - 1);
      int32_t result = 0;
      const Bytes expected = run(cipher.number, cipher.key_length, mode, true, plain, result);
      ASSERT_EQ(SAF_Ext_SymmEncryptFile(identifier, kIv.data(), cipher.block, kKey.data(), cipher.key_length,
                                        "symmetric.in", "symmetric.out"),
                0u);
      EXPECT_EQ(file_bytes("symmetric.out"), expected);
      ASSERT_EQ(SAF_Ext_SymmDecryptFile(identifier, kIv.data(), cipher.block, kKey.data(), cipher.key_length,
                                        "symmetric.out", "symmetric.out"),
                0u);
      EXPECT_EQ(file_bytes("symmetric.out"), plain);
    }
  }
  std::remove("symmetric.in");
  std::remove("symmetric.out");
}

TEST(SymmetricFile, LeavesNothingBehindWhenItFails) {
  write_file("symmetric.in", Bytes(40, 1));
  const auto decrypt = [](uint32_t identifier, uint32_t iv_length, const char* input) {
    return SAF_Ext_SymmDecryptFile(identifier, kIv.data(), iv_length, kKey.data(), 16, input,
                                   "symmetric.out");
  };
  EXPECT_EQ(decrypt(0x402, 16, "symmetric.in"), kSafDecryptFailed);
  EXPECT_EQ(decrypt(0x402, 16, "no such file"), kSafFileOpen);
  EXPECT_EQ(decrypt(0x402, 15, "symmetric.in"), kSafBadLength);
  EXPECT_EQ(decrypt(0x403, 16, "symmetric.in"), kSafAlgorithm);
  EXPECT_EQ(decrypt(0x502, 16, "symmetric.in"), kSafAlgorithm);
  EXPECT_FALSE(file_exists("symmetric.out"));
  std::remove("symmetric.in");
}

}  // namespace
}  // namespace velm::token

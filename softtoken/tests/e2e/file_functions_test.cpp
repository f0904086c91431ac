// Tests encryption and decryption in process.
#include <windows.h>
#include <psapi.h>

#include <algorithm>

#include "library_calls.h"

namespace {

constexpr const char* kPlain = "file_functions.txt";
constexpr const char* kEnvelope = "file_functions.p7m";
constexpr const char* kOpened = "file_functions.out";

/** Envelope types: the local service handles type 2, the signature provider all others. */
enum EnvelopeType : uint32_t { kByProvider = 1, kByService = 2 };

constexpr int32_t kMethods[] = {0x402, 0x2002, 0x4002, 0x8002, 0x10002};

class FileFunctions : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : kKeys) ASSERT_EQ(SOF_Login(name, kPin), SOR_OK);
    method_ = static_cast<int32_t>(SOF_GetEncryptMethod());
  }
  void TearDown() override {
    SOF_SetEncryptMethod(method_);
    SOF_Ext_SetEnvelopType(kByService);
    for (const char* path : {kPlain, kEnvelope, kOpened}) std::remove(path);
  }

  static uint32_t encrypt(const char* name) {
    const Bytes certificate = encryption_certificate(name);
    return SOF_EncryptFile(certificate.data(), size_of(certificate), kPlain, kEnvelope);
  }
  static uint32_t decrypt(const char* name) { return SOF_DecryptFile(name, kEnvelope, kOpened); }

 private:
  int32_t method_ = 0;
};

TEST_F(FileFunctions, EnvelopesRoundTrip) {
  for (const char* name : kKeys) {
    SCOPED_TRACE(name);
    for (const uint32_t type : {kByProvider, kByService}) {
      SOF_Ext_SetEnvelopType(type);
      for (const size_t size : {1u, 16u, 100'000u}) {
        const Bytes plain(size, 'p');
        write_file(kPlain, plain);
        ASSERT_EQ(encrypt(name), SOR_OK) << type << size;
        ASSERT_EQ(decrypt(name), SOR_OK) << type << size;
        EXPECT_EQ(read_file(kOpened), plain);
      }
    }
  }
}

TEST_F(FileFunctions, EnvelopesOfEmptyFiles) {
  write_file(kPlain, {});
  for (const char* name : kKeys) {
    SOF_Ext_SetEnvelopType(kByProvider);
    std::remove(kEnvelope);
    ASSERT_EQ(encrypt(name), SOR_OK);
    ASSERT_EQ(decrypt(name), SOR_OK);
    EXPECT_TRUE(file_exists(kOpened));
    EXPECT_EQ(read_file(kOpened), Bytes());
    SOF_Ext_SetEnvelopType(kByService);
    EXPECT_EQ(encrypt(name), SOR_INDATALENERR);
  }
}

TEST_F(FileFunctions, EveryCipherDecrypts) {
  const Bytes plain(1000, 'm');
  write_file(kPlain, plain);
  SOF_Ext_SetEnvelopType(kByProvider);
  for (const int32_t method : kMethods) {
    ASSERT_EQ(SOF_SetEncryptMethod(method), SOR_OK);
    ASSERT_EQ(encrypt("RSA_2048_DEMO"), SOR_OK) << method;
    ASSERT_EQ(decrypt("RSA_2048_DEMO"), SOR_OK) << method;
    EXPECT_EQ(read_file(kOpened), plain);
  }
  ASSERT_EQ(SOF_SetEncryptMethod(0x401), SOR_OK);
  EXPECT_EQ(encrypt("RSA_2048_DEMO"), SOR_ALGOTYPEERR);
  ASSERT_EQ(encrypt("SM2_DEMO"), SOR_OK);
  EXPECT_EQ(SOF_GetEncryptMethod(), 0x402u);
}

TEST_F(FileFunctions, EnvelopesForOthersAndModifiedOnesAreRejected) {
  write_file(kPlain, Bytes(1000, 'p'));
  SOF_Ext_SetEnvelopType(kByProvider);
  for (const char* name : {"SM2_DEMO", "RSA_2048_DEMO"}) {
    SCOPED_TRACE(name);
    ASSERT_EQ(encrypt(name), SOR_OK);
    const Bytes envelope = read_file(kEnvelope);
    std::remove(kOpened);
    EXPECT_EQ(decrypt(is_sm2(name) ? "RSA_2048_DEMO" : "SM2_DEMO"), SOR_KEYPAIRMISMATCHERR);

    // Changing the second-to-last block changes the padding length to more than one block.
    Bytes altered = envelope;
    altered[envelope.size() - (is_sm2(name) ? 17 : 9)] ^= 0x80;
    write_file(kEnvelope, altered);
    EXPECT_EQ(decrypt(name), SOR_DECRYPTPADERR);
    for (size_t length = 0; length < envelope.size(); length += 97) {
      write_file(kEnvelope, Bytes(envelope.begin(), envelope.begin() + static_cast<ptrdiff_t>(length)));
      EXPECT_NE(decrypt(name), SOR_OK) << length;
    }
    // Only tag, length and content type: the content of a digital envelope is not authenticated.
    for (size_t i = 0; i < 15; ++i) {
      write_file(kEnvelope, altered_at(envelope, i));
      EXPECT_NE(decrypt(name), SOR_OK) << i;
    }
    EXPECT_FALSE(file_exists(kOpened));

    write_file(kEnvelope, envelope);
    ASSERT_EQ(SOF_Ext_Logout(name, 0), SOR_OK);
    EXPECT_EQ(decrypt(name), SOR_NOTLOGINERR);
    ASSERT_EQ(SOF_Login(name, kPin), SOR_OK);
    EXPECT_EQ(decrypt(name), SOR_OK);
  }
}

// Streaming encoders write indefinite lengths. The library decrypts such digital envelopes in memory.
TEST_F(FileFunctions, EnvelopesWithIndefiniteLengthsDecrypt) {
  const Bytes plain(1000, 'p');
  write_file(kPlain, plain);
  SOF_Ext_SetEnvelopType(kByProvider);
  for (const char* name : {"SM2_DEMO", "RSA_2048_DEMO"}) {
    ASSERT_EQ(encrypt(name), SOR_OK);
    Bytes envelope = read_file(kEnvelope);
    // Replaces a definite length (two length bytes) by an indefinite one with end-of-contents bytes.
    ASSERT_EQ(Bytes(envelope.begin(), envelope.begin() + 2), (Bytes{0x30, 0x82}));
    envelope.erase(envelope.begin() + 2, envelope.begin() + 4);
    envelope[1] = 0x80;
    envelope.insert(envelope.end(), 2, 0);
    write_file(kEnvelope, envelope);
    EXPECT_EQ(decrypt(name), SOR_OK) << name;
    EXPECT_EQ(read_file(kOpened), plain);
  }
}

// Shows that encrypting and decrypting 300 MiB takes less than 64 MiB of memory.
TEST_F(FileFunctions, ALargeFileNeedsLittleMemory) {
  constexpr size_t kMebibyte = 1024 * 1024;
  {
    std::ofstream file(kPlain, std::ios::binary);
    std::string piece(kMebibyte, '\0');
    for (size_t i = 0; i < 300; ++i) {
      std::fill(piece.begin(), piece.end(), static_cast<char>(i));
      file << piece;
    }
  }
  const auto hash_of_file = [](const char* path) {
    return output_of([&](uint8_t* out, uint32_t* length) {
      return SOF_Ext_HashFile(reinterpret_cast<const void*>(uintptr_t{kSm3}), nullptr, nullptr, nullptr, 0,
                              path, out, length);
    });
  };
  SOF_Ext_SetEnvelopType(kByProvider);
  ASSERT_EQ(encrypt("SM2_DEMO"), SOR_OK);
  ASSERT_EQ(decrypt("SM2_DEMO"), SOR_OK);
  EXPECT_EQ(hash_of_file(kPlain), hash_of_file(kOpened));
  PROCESS_MEMORY_COUNTERS counters{};
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  RecordProperty("peak_memory_kib", static_cast<int>(counters.PeakWorkingSetSize / 1024));
  std::printf("peak memory: %zu KiB\n", counters.PeakWorkingSetSize / 1024);
  EXPECT_LT(counters.PeakWorkingSetSize, 64 * kMebibyte);
}

struct Cipher {
  uint32_t algorithm;
  size_t key_length;
  size_t block_length;
};
constexpr Cipher kCiphers[] = {
    {0x400, 16, 16}, {0x2000, 24, 8}, {0x4000, 16, 16}, {0x8000, 24, 16}, {0x10000, 32, 16}};

Bytes encrypted(uint32_t algorithm, const Bytes& iv, const Bytes& key, const Bytes& plain, uint32_t& code) {
  Bytes output(plain.size() + 32);
  uint32_t length = 0;
  code = SOF_Ext_SymmEncrypt(algorithm, 0, iv.data(), key.data(), size_of(key), plain.data(), size_of(plain),
                             output.data(), &length);
  output.resize(length);
  return output;
}

Bytes decrypted(uint32_t algorithm, const Bytes& iv, const Bytes& key, const Bytes& cipher, uint32_t& code) {
  Bytes output(cipher.size() + 32);
  uint32_t length = 0;
  code = SOF_Ext_SymmDecrypt(algorithm, 0, iv.data(), key.data(), size_of(key), cipher.data(),
                             size_of(cipher), output.data(), &length);
  output.resize(length);
  return output;
}

TEST_F(FileFunctions, SymmetricCiphersAgreeInMemoryAndInFiles) {
  const Bytes plain = bytes_of("a text of no whole number of blocks, whatever they are");
  write_file(kPlain, plain);
  for (const auto& [algorithm, key_length, block_length] : kCiphers) {
    Bytes key(key_length);
    for (size_t i = 0; i < key_length; ++i) key[i] = static_cast<uint8_t>(17 * i + 1);
    const Bytes iv(block_length, 9);
    for (const uint32_t mode : {1u, 2u, 4u, 8u}) {
      const uint32_t number = algorithm | mode;
      SCOPED_TRACE(number);
      uint32_t code = 1;
      const Bytes cipher = encrypted(number, iv, key, plain, code);
      ASSERT_EQ(code, SOR_OK);
      EXPECT_EQ(cipher.size(), mode > 2 ? plain.size() : (plain.size() / block_length + 1) * block_length);
      EXPECT_EQ(decrypted(number, iv, key, cipher, code), plain);
      EXPECT_EQ(code, SOR_OK);
      Bytes other_key = key;
      other_key[0] ^= 0x10;  // not a parity bit of triple DES
      EXPECT_NE(decrypted(number, iv, other_key, cipher, code), plain);
      EXPECT_NE(decrypted(number, iv, key, altered_at(cipher, 0), code), plain);

      const uint32_t iv_length = size_of(iv);
      ASSERT_EQ(
          SOF_Ext_SymmEncryptFile(number, iv.data(), iv_length, key.data(), size_of(key), kPlain, kEnvelope),
          SOR_OK);
      EXPECT_EQ(read_file(kEnvelope), cipher);
      ASSERT_EQ(
          SOF_Ext_SymmDecryptFile(number, iv.data(), iv_length, key.data(), size_of(key), kEnvelope, kOpened),
          SOR_OK);
      EXPECT_EQ(read_file(kOpened), plain);
    }
  }
}

// Test vector of GB/T 32907: the key encrypts itself.
TEST_F(FileFunctions, Sm4MatchesThePublishedValue) {
  const Bytes key{0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF,
                  0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10};
  const Bytes expected{0x68, 0x1E, 0xDF, 0x34, 0xD2, 0x06, 0x96, 0x5E,
                       0x86, 0xB3, 0xE9, 0x4F, 0x53, 0x6E, 0x42, 0x46};
  uint32_t code = 1;
  Bytes cipher = encrypted(0x401, {}, key, key, code);
  ASSERT_EQ(code, SOR_OK);
  cipher.resize(expected.size());
  EXPECT_EQ(cipher, expected);
}

TEST_F(FileFunctions, SymmetricCiphersRejectInvalidInput) {
  const Bytes block(16, 1);
  uint32_t code = 0;
  encrypted(0xC001, block, block, block, code);
  EXPECT_EQ(code, SOR_INDATAERR);
  encrypted(0x410, block, block, block, code);
  EXPECT_EQ(code, SOR_INDATAERR);
  encrypted(0x402, block, Bytes(15), block, code);
  EXPECT_EQ(code, SOR_INDATAERR);
  decrypted(0x402, block, block, Bytes(15), code);
  EXPECT_EQ(code, SOR_UNKNOWNERR);
  write_file(kPlain, Bytes(15));
  EXPECT_NE(SOF_Ext_SymmDecryptFile(0x402, block.data(), 16, block.data(), 16, kPlain, kOpened), SOR_OK);
  EXPECT_FALSE(file_exists(kOpened));
  EXPECT_EQ(SOF_Ext_SymmEncryptFile(0x402, block.data(), 16, block.data(), 16, "no such file", kOpened),
            SOR_FILEOPENERR);
}

}  // namespace

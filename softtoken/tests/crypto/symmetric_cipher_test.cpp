#include "softtoken/crypto/symmetric_cipher.h"

#include <gtest/gtest.h>

#include "softtoken/tests/store/temporary_store.h"

namespace velm::token {
namespace {

using Direction = SymmetricOperation::Direction;

constexpr const char* kModes[] = {"ECB", "CBC", "CFB", "OFB"};

struct Family {
  uint32_t identifier;
  size_t key_length;
  const char* name;
};
constexpr Family kFamilies[] = {
    {protocol::kSm4, 16, "SM4"},
    {protocol::kTripleDes, 16, "DES-EDE"},
    {protocol::kTripleDes, 24, "DES-EDE3"},
    {protocol::kAes128, 16, "AES-128"},
    {protocol::kAes192, 24, "AES-192"},
    {protocol::kAes256, 32, "AES-256"},
};
constexpr uint32_t kModeBits[] = {protocol::kEcb, protocol::kCbc, protocol::kCfb, protocol::kOfb};

TEST(SymmetricCipher, AnIdentifierSelectsTheCipherOfItsName) {
  for (const Family& family : kFamilies) {
    for (size_t mode = 0; mode < std::size(kModes); ++mode) {
      const SymmetricAlgorithm algorithm = symmetric_algorithm(family.identifier | kModeBits[mode]);
      const std::string name = std::string(family.name) + "-" + kModes[mode];
      const EVP_CIPHER* cipher = symmetric_cipher(algorithm, family.key_length);
      const Handle<EVP_CIPHER, EVP_CIPHER_free> expected(EVP_CIPHER_fetch(nullptr, name.c_str(), nullptr));
      ASSERT_NE(expected, nullptr) << name;
      EXPECT_TRUE(EVP_CIPHER_is_a(cipher, EVP_CIPHER_get0_name(expected.get()))) << name;
      for (const size_t length : {0u, 15u, 17u, 33u})
        EXPECT_EQ(code_of([&] { symmetric_cipher(algorithm, length); }), kBadLength) << name;
    }
  }
}

TEST(SymmetricCipher, OtherIdentifiersSelectNone) {
  const uint32_t known = protocol::kSm4 | protocol::kCbc;
  symmetric_algorithm(known);
  for (uint32_t bit = 0; bit < 32; ++bit) {
    const uint32_t changed = known ^ uint32_t { 1 } << bit;
    bool is_known = false;
    for (const Family& family : kFamilies) {
      for (const uint32_t mode : kModeBits) is_known = is_known || changed == (family.identifier | mode);
    }
    const ErrorCode code = is_known ? kSuccess : kAlgorithmUnsupported;
    EXPECT_EQ(code_of([&] { symmetric_algorithm(changed); }), code) << bit;
  }
}

// The examples of draft-ribose-cfrg-sm4.
TEST(SymmetricCipher, Sm4GivesThePublishedValues) {
  const Bytes key = from_hex("0123456789ABCDEFFEDCBA9876543210");
  const Bytes iv = from_hex("000102030405060708090A0B0C0D0E0F");
  const Bytes plain = from_hex("AAAAAAAABBBBBBBBCCCCCCCCDDDDDDDDEEEEEEEEFFFFFFFFAAAAAAAABBBBBBBB");
  const std::pair<uint32_t, const char*> values[] = {
      {protocol::kEcb, "5EC8143DE509CFF7B5179F8F474B86192F1D305A7FB17DF985F81C8482192304"},
      {protocol::kCbc, "78EBB11CC40B0A48312AAEB2040244CB4CB7016951909226979B0D15DC6A8F6D"},
      {protocol::kCfb, "AC3236CB861DD316E6413B4E3C7524B769D4C54ED433B9A0346009BEB37B2B3F"},
      {protocol::kOfb, "AC3236CB861DD316E6413B4E3C7524B71D01ACA2487CA582CBF5463E6698539B"}};
  for (const auto& [mode, value] : values) {
    const EVP_CIPHER* cipher = symmetric_cipher(symmetric_algorithm(protocol::kSm4 | mode), key.size());
    SymmetricOperation encryption(cipher, Direction::encrypt, key, iv);
    // Twice: finish() restarts with the same IV.
    for (int turn = 0; turn < 2; ++turn) {
      SecretBytes out;
      encryption.update(plain, out);
      encryption.finish(out);
      ASSERT_GE(out.size(), plain.size());
      EXPECT_EQ(copy_of(ByteView(out).first(plain.size())), from_hex(value)) << mode << " " << turn;
      SymmetricOperation decryption(cipher, Direction::decrypt, key, iv);
      SecretBytes back;
      decryption.update(out, back);
      decryption.finish(back);
      EXPECT_EQ(copy_of(back), plain) << mode;
    }
  }
}

TEST(SymmetricCipher, KeyAndIvHaveTheLengthsOfTheCipher) {
  for (const Family& family : kFamilies) {
    for (const uint32_t mode : kModeBits) {
      const EVP_CIPHER* cipher =
          symmetric_cipher(symmetric_algorithm(family.identifier | mode), family.key_length);
      const auto iv_length = static_cast<size_t>(EVP_CIPHER_get_iv_length(cipher));
      const auto code = [&](size_t key, size_t iv) {
        return code_of([&] { SymmetricOperation(cipher, Direction::encrypt, Bytes(key), Bytes(iv)); });
      };
      EXPECT_EQ(code(family.key_length, iv_length), kSuccess);
      EXPECT_EQ(code(family.key_length - 1, iv_length), kBadLength);
      EXPECT_EQ(code(family.key_length + 1, iv_length), kBadLength);
      const ErrorCode other = iv_length == 0 ? kSuccess : kBadLength;
      for (const size_t length : {iv_length - 1, iv_length + 1, size_t{0}}) {
        if (length > 64 || (length == 0 && iv_length == 0)) continue;
        EXPECT_EQ(code(family.key_length, length), other) << family.name << " " << mode << " " << length;
      }
    }
  }
}

}  // namespace
}  // namespace velm::token

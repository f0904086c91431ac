#include <gtest/gtest.h>

#include "provider_abi/velm_client_saf.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/samples.h"

namespace velm::token {
namespace {

constexpr uint32_t kSm3 = 1;
constexpr uint32_t kSha1 = 2;
constexpr uint32_t kSha256 = 4;

Bytes hash_of(uint32_t algorithm, ByteView data, ByteView key = {}, ByteView id = {}) {
  uint32_t code = 0;
  const Bytes value = sized_output(
      [&](uint8_t* output, uint32_t* length) {
        return SAF_Hash(algorithm, data.data(), size_of(data), key.data(), size_of(key), id.data(),
                        size_of(id), output, length);
      },
      code);
  EXPECT_EQ(code, 0u);
  return value;
}

uint32_t hash_file(uint32_t algorithm, ByteView key, ByteView id, const char* path, uint8_t* hash,
                   uint32_t* length) {
  return SAF_Ext_HashFile(reinterpret_cast<const void*>(uintptr_t{algorithm}), key.data(),
                          reinterpret_cast<const void*>(uintptr_t{key.size()}), id.data(), size_of(id), path,
                          hash, length);
}

TEST(Hash, GivesThePublishedValues) {
  EXPECT_EQ(hash_of(kSm3, as_bytes("abc")),
            hex("66c7f0f462eeedd9d1f2d46bdc10e4e24167c4875cf2f7a2297da02b8f4ba8e0"));
  EXPECT_EQ(hash_of(kSha1, as_bytes("abc")), hex("a9993e364706816aba3e25717850c26c9cd0d89d"));
  EXPECT_EQ(hash_of(kSha256, as_bytes("abc")),
            hex("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
}

// Public key, user ID and e = SM3(Z || M) of the signature example of GB/T 32918.5 on the recommended curve.
TEST(Hash, CoversTheSignerAsThePublishedExample) {
  const Bytes key =
      hex("0409f9df311e5421a150dd7d161e4bc5c672179fad1833fc076bb08ff356f35020"
          "ccea490ce26775a52dc6ea718cc1aa600aed05fbf35e084a6632f6072da9ad13");
  const Bytes expected = hex("f0b43e94ba45accaace692ed534382eb17e6ab5a19ce7b31f4486fdfc0d28640");
  EXPECT_EQ(hash_of(kSm3, as_bytes("message digest"), key, as_bytes("1234567812345678")), expected);
  EXPECT_EQ(hash_of(kSm3, as_bytes("message digest"), key), expected);
  EXPECT_NE(hash_of(kSm3, as_bytes("message digest"), key, as_bytes("1234567812345679")), expected);
}

TEST(Hash, TakesTheSignersKeyInEveryForm) {
  const Signer& signer = sm2_signer();
  const Bytes point = public_key_bytes(signer.key.get());
  const Bytes info = der_of<const EVP_PKEY>(i2d_PUBKEY, signer.key.get());
  const Bytes value = hash_of(kSm3, as_bytes("text"), point);
  EXPECT_EQ(hash_of(kSm3, as_bytes("text"), info), value);
  EXPECT_EQ(hash_of(kSm3, as_bytes("text"), signer.certificate), value);
}

TEST(Hash, OfAFileIsThatOfItsContent) {
  const Signer& signer = sm2_signer();
  const Bytes point = public_key_bytes(signer.key.get());
  for (const size_t size : {size_t{0}, size_t{1}, size_t{65535}, size_t{65536}, size_t{300001}}) {
    const Bytes content(size, 0x5A);
    write_file("hash_test.bin", content);
    uint8_t value[32];
    for (const bool with_key : {false, true}) {
      uint32_t length = sizeof value;
      const ByteView key = with_key ? ByteView(point) : ByteView();
      ASSERT_EQ(hash_file(kSm3, key, as_bytes("someone"), "hash_test.bin", value, &length), 0u);
      EXPECT_EQ(Bytes(value, value + length), hash_of(kSm3, content, key, as_bytes("someone")));
    }
    uint32_t length = sizeof value;
    ASSERT_EQ(hash_file(kSha1, {}, {}, "hash_test.bin", value, &length), 0u);
    EXPECT_EQ(Bytes(value, value + length), hash_of(kSha1, content));
  }
  std::remove("hash_test.bin");
}

TEST(Hash, RefusesWhatItCannotDo) {
  uint8_t value[64];
  uint32_t length = 31;
  const ByteView data = as_bytes("abc");
  EXPECT_EQ(SAF_Hash(kSm3, data.data(), 3, nullptr, 0, nullptr, 0, value, &length), kSafBadLength);
  EXPECT_EQ(length, 31u);
  length = sizeof value;
  EXPECT_EQ(SAF_Hash(3, data.data(), 3, nullptr, 0, nullptr, 0, value, &length), kSafAlgorithm);
  EXPECT_EQ(SAF_Hash(kSm3, nullptr, 3, nullptr, 0, nullptr, 0, value, &length), kSafBadInput);
  EXPECT_EQ(SAF_Hash(kSm3, data.data(), 3, nullptr, 0, nullptr, 0, value, nullptr), kSafBadInput);
  EXPECT_EQ(SAF_Hash(kSm3, data.data(), 3, data.data(), 3, nullptr, 0, value, &length), kSafBadInput);
  const Bytes key = public_key_bytes(sm2_signer().key.get());
  EXPECT_EQ(SAF_Hash(kSha256, data.data(), 3, key.data(), 65, nullptr, 0, value, &length), kSafAlgorithm);
  const Bytes rsa_info = der_of<const EVP_PKEY>(i2d_PUBKEY, rsa_1024_signer().key.get());
  for (const Bytes& rsa : {rsa_info, rsa_1024_signer().certificate}) {
    EXPECT_EQ(SAF_Hash(kSm3, data.data(), 3, rsa.data(), size_of(rsa), nullptr, 0, value, &length),
              kSafAlgorithm);
    EXPECT_EQ(hash_file(kSm3, rsa, {}, "no such file", value, &length), kSafAlgorithm);
  }
  EXPECT_EQ(hash_file(kSm3, {}, {}, "no such file", value, &length), kSafFileOpen);
  EXPECT_EQ(hash_file(kSm3, {}, {}, nullptr, value, &length), kSafBadInput);
  EXPECT_EQ(length, sizeof value);
}

// GM/T 0009 stores the length of the user ID in 16 bits.
TEST(Hash, TakesUserIdsWhoseLengthFits) {
  const Bytes key = public_key_bytes(sm2_signer().key.get());
  const Bytes id(8192, 'i');
  uint8_t value[32];
  uint32_t length = sizeof value;
  EXPECT_EQ(SAF_Hash(kSm3, id.data(), 3, key.data(), 65, id.data(), 8191, value, &length), kSafSuccess);
  EXPECT_EQ(SAF_Hash(kSm3, id.data(), 3, key.data(), 65, id.data(), 8192, value, &length), kSafBadLength);
}

}  // namespace
}  // namespace velm::token

// Encodes, encrypts and decrypts a PIN with the modules, and looks for it in the memory that they leave.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "provider_abi/velm_client_saf.h"
#include "provider_abi/velm_openssl_api.h"
#include "softtoken/crypto/envelope.h"
#include "softtoken/tests/providers/running_service.h"
#include "softtoken/tests/support/freed_blocks.h"

namespace velm::token {
namespace {

// The last group of the short one is what OpenSSL encodes; vector instructions encode most of the long one.
constexpr const char* kSecrets[] = {"Kq7-zX9vT2", "S3E3LXpYOXZUMg==", "Wd4/mB6yHsWd4/mB6yHsWd4/mB6yJt",
                                    "V2Q0L21CNnlIc1dkNC9tQjZ5SHNXZDQvbUI2eUp0"};
// Parts of these that are copied on their own.
constexpr const char* kLastGroups[] = {"Mg==", "eUp0", "yJt"};
constexpr size_t kStack = 32768;

/** Copies the memory below the stack of the caller, which the calls before it used. */
[[gnu::noinline, gnu::no_sanitize("address")]] void copy_old_stack(volatile char* copy) {
  const auto* end = static_cast<const volatile char*>(__builtin_frame_address(0)) - 256;
  for (size_t i = 0; i < kStack; ++i)
    copy[i] = end[static_cast<ptrdiff_t>(i) - static_cast<ptrdiff_t>(kStack)];
}

[[gnu::noinline, gnu::no_sanitize("address")]] void blank_stack() {
  volatile char blank[2 * kStack];
  for (size_t i = 0; i < sizeof blank; ++i) blank[i] = 0;
}

void encode_and_decode(const char* text, const char* base64) {
  static uint8_t output[256];
  const auto* plain = reinterpret_cast<const uint8_t*>(text);
  const auto* encoded = reinterpret_cast<const uint8_t*>(base64);
  const auto plain_size = static_cast<uint32_t>(std::strlen(text));
  const auto encoded_size = static_cast<uint32_t>(std::strlen(base64));
  uint32_t length = sizeof output;
  ASSERT_EQ(VELM_Openssl_Base64Encode(plain, plain_size, output, &length), 0);
  ASSERT_EQ(std::memcmp(output, base64, encoded_size), 0);
  ASSERT_EQ(VELM_Openssl_Base64Decode(encoded, encoded_size, output, &length), 0);
  ASSERT_EQ(std::memcmp(output, text, plain_size), 0);
  length = sizeof output;
  ASSERT_EQ(SAF_Base64_Encode(plain, plain_size, output, &length), 0u);
  length = sizeof output;
  ASSERT_EQ(SAF_Base64_Decode(encoded, encoded_size, output, &length), 0u);
}

TEST(PinMemory, OfEncodersIsWiped) {
  static char stack[kStack];
  const FreedBlocks freed(kSecrets);
  blank_stack();
  encode_and_decode(kSecrets[0], kSecrets[1]);
  encode_and_decode(kSecrets[2], kSecrets[3]);
  copy_old_stack(stack);
  for (size_t i = 0; i < std::size(kSecrets); ++i) EXPECT_EQ(freed.containing(i), 0u) << kSecrets[i];
  const std::string_view left(stack, kStack);
  for (const char* text : kSecrets) EXPECT_EQ(left.find(text), std::string_view::npos) << text;
  for (const char* text : kLastGroups) EXPECT_EQ(left.find(text), std::string_view::npos) << text;
}

TEST(PinMemory, OfSymmetricOperationsIsWiped) {
  static const uint8_t key[16] = {1};
  static uint8_t output[256];
  const FreedBlocks freed(kSecrets);
  for (const char* secret : kSecrets) {
    const auto size = static_cast<uint32_t>(std::strlen(secret));
    uint32_t length = 0;
    void* contexts[2] = {};
    for (uint32_t direction = 0; direction < 2; ++direction) {
      ASSERT_EQ(
          VELM_Openssl_SymmAcquireContext(&contexts[direction], 108, direction, key, sizeof key, key, 2), 0);
    }
    ASSERT_EQ(
        VELM_Openssl_Encrypt(contexts[1], reinterpret_cast<const uint8_t*>(secret), size, output, &length),
        0);
    ASSERT_EQ(VELM_Openssl_Decrypt(contexts[0], output, length, output, &length), 0);
    ASSERT_EQ(std::string_view(reinterpret_cast<const char*>(output), length), secret);
    for (void* context : contexts) EXPECT_EQ(VELM_Openssl_SymmReleaseCtx(context), 0);
  }
  for (size_t i = 0; i < std::size(kSecrets); ++i) EXPECT_EQ(freed.containing(i), 0u) << kSecrets[i];
}

// The content of an envelope that was opened in memory is only in the caller's buffer.
TEST(PinMemory, OfOpenedEnvelopesIsWiped) {
  Application application("pin_memory_test");
  ASSERT_EQ(application.opened(), 0u);
  const Certificate recipient = parse_certificate(application.encryption_certificate("SM2_TEST"));
  const Bytes envelope = make_envelope(
      recipient.get(), {reinterpret_cast<const uint8_t*>(kSecrets[2]), std::strlen(kSecrets[2])});
  static uint8_t output[256];
  uint32_t length = sizeof output;
  const FreedBlocks freed(kSecrets);
  ASSERT_EQ(SAF_Ext_CMS_DecodeEnvelopedData(application.handle(), "SM2_TEST", 8, envelope.data(),
                                            size_of(envelope), output, &length),
            0u);
  ASSERT_EQ(std::string_view(reinterpret_cast<const char*>(output), length), kSecrets[2]);
  EXPECT_EQ(freed.containing(2), 0u);
}

}  // namespace
}  // namespace velm::token

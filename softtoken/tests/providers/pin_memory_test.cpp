// Encodes and decodes a PIN with the modules, and looks for it in the memory that they leave.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "provider_abi/velm_client_saf.h"
#include "provider_abi/velm_openssl_api.h"
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

}  // namespace
}  // namespace velm::token

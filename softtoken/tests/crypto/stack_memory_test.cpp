// Decodes and encodes secrets on a stack of its own, and looks for them there afterwards.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <vector>

#include <ucontext.h>

#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/secret.h"

namespace velm::token {
namespace {

const std::function<void()>* g_function = nullptr;

/** Runs a function on a stack of its own, which nothing else uses afterwards. */
class KeptStack {
 public:
  explicit KeptStack(const std::function<void()>& function) : stack_(size_t{1} << 18) {
    ucontext_t here;
    ucontext_t there;
    getcontext(&there);
    there.uc_stack.ss_sp = stack_.data();
    there.uc_stack.ss_size = stack_.size();
    there.uc_link = &here;
    g_function = &function;
    makecontext(
        &there, [] { (*g_function)(); }, 0);
    swapcontext(&here, &there);
  }

  // Without the address sanitizer, which knows the variables that lived there.
  __attribute__((no_sanitize_address)) bool contains(const char* text) const {
    const size_t length = std::strlen(text);
    for (size_t at = 0; at + length <= stack_.size(); ++at) {
      size_t same = 0;
      while (same < length && stack_.data()[at + same] == text[same]) ++same;
      if (same == length) return true;
    }
    return false;
  }

 private:
  std::vector<char> stack_;
};

// Shorter than a vector, longer than one, and at the end of a text that is decoded in vectors.
constexpr std::array<std::pair<const char*, const char*>, 3> kSecrets{{
    {"Kq7-zX9vT2", "S3E3LXpYOXZUMg=="},
    {"Kq7-zX9vT2-Wd4/mB6yHs", "S3E3LXpYOXZUMi1XZDQvbUI2eUhz"},
    {"0123456789ABKq7-zX9vT2", "MDEyMzQ1Njc4OUFCS3E3LXpYOXZUMg=="},
}};
constexpr const char* kEndOfPlain = "zX9vT2";
constexpr const char* kEndOfText = "OXZUM";

TEST(StackMemory, DecodingLeavesNothing) {
  for (const auto& [plain, text] : kSecrets) {
    SecretBytes bytes(64);
    const KeptStack stack([&, &text = text] {
      const auto length = base64_decode(text, bytes.data());
      EXPECT_TRUE(length.has_value());
    });
    EXPECT_FALSE(stack.contains(kEndOfPlain)) << text;
    EXPECT_FALSE(stack.contains(kEndOfText)) << text;
  }
}

TEST(StackMemory, TextThatIsRefusedLeavesNothing) {
  for (const char* text : {"S3E3LXpYOXZUMg=", "S3E3LXpYOXZUMg=*", "S3E3LXpYOXZUM*=="}) {
    SecretBytes bytes(64);
    const KeptStack stack([&] { EXPECT_FALSE(base64_decode(text, bytes.data()).has_value()); });
    EXPECT_FALSE(stack.contains(kEndOfPlain)) << text;
    EXPECT_FALSE(stack.contains(kEndOfText)) << text;
  }
}

// The last group is encoded apart, because a NUL follows it.
TEST(StackMemory, EncodingLeavesNothing) {
  SecretText text(24, '\0');
  const KeptStack stack([&] { base64_encode(as_bytes("Kq7-zX9vT2-xyz:T2"), text.data()); });
  EXPECT_TRUE(text.ends_with("VDI=")) << text.c_str();
  EXPECT_FALSE(stack.contains("VDI="));
}

TEST(StackMemory, StacksAreSearched) {
  const KeptStack stack([] {
    std::array<char, 32> left;
    std::strcpy(left.data(), "left on the stack");
    asm volatile("" : : "r"(left.data()) : "memory");
  });
  EXPECT_TRUE(stack.contains("left on the stack"));
}

}  // namespace
}  // namespace velm::token

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <random>

#include "provider_abi/velm_client_saf.h"
#include "provider_abi/velm_openssl_api.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/samples.h"

namespace velm::token {
namespace {

// Test vectors of RFC 4648.
constexpr std::pair<const char*, const char*> kVectors[] = {
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
};

constexpr const char* kNotBase64[] = {"Zg=", "Zg", "Z===", "Zm9v!", "Zg==Zg==", "Zm 9v", "Zm9v\xE6"};

using SafFunction = decltype(&SAF_Base64_Encode);
using ApiFunction = decltype(&VELM_Openssl_Base64Encode);

std::string saf_result(SafFunction function, std::string_view input, uint32_t& code) {
  const ByteView bytes = as_bytes(input);
  return as_text(
      sized_output([&](uint8_t* output,
                       uint32_t* length) { return function(bytes.data(), size_of(bytes), output, length); },
                   code));
}

// The crypto module has no capacity argument; the output buffer must be large enough.
std::string api_result(ApiFunction function, std::string_view input, int32_t& code) {
  const ByteView bytes = as_bytes(input);
  Bytes output(2 * input.size() + 16);
  uint32_t length = 0;
  code = function(bytes.data(), size_of(bytes), output.data(), &length);
  output.resize(length);
  return as_text(output);
}

TEST(Base64, OfBothModulesGivesThePublishedValues) {
  for (const auto& [plain, text] : kVectors) {
    uint32_t code = 1;
    EXPECT_EQ(saf_result(SAF_Base64_Encode, plain, code), text);
    EXPECT_EQ(code, 0u);
    EXPECT_EQ(saf_result(SAF_Base64_Decode, text, code), plain);
    EXPECT_EQ(code, 0u);
    int32_t api_code = 1;
    EXPECT_EQ(api_result(VELM_Openssl_Base64Encode, plain, api_code), text);
    EXPECT_EQ(api_code, 0);
    EXPECT_EQ(api_result(VELM_Openssl_Base64Decode, text, api_code), plain);
    EXPECT_EQ(api_code, 0);
  }
}

TEST(Base64, EveryByteGoesThereAndBack) {
  std::string plain;
  for (int i = 0; i < 1000; ++i) plain += static_cast<char>(i);
  uint32_t code = 1;
  const std::string text = saf_result(SAF_Base64_Encode, plain, code);
  EXPECT_EQ(text.size(), 1336u);
  EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos);
  EXPECT_EQ(saf_result(SAF_Base64_Decode, text, code), plain);
  int32_t api_code = 1;
  EXPECT_EQ(api_result(VELM_Openssl_Base64Encode, plain, api_code), text);
  EXPECT_EQ(api_result(VELM_Openssl_Base64Decode, text, api_code), plain);
}

// The first 4,096 digits are base64, a later one is not.
TEST(Base64, OutputsAreUntouchedIfTheTextIsNotBase64) {
  std::string text(8000, 'A');
  text[5000] = '*';
  const ByteView bytes = as_bytes(text);
  const Bytes untouched(6000, 0xA5);
  Bytes output = untouched;
  auto length = size_of(output);
  EXPECT_EQ(SAF_Base64_Decode(bytes.data(), size_of(bytes), output.data(), &length), kSafBadInput);
  EXPECT_EQ(output, untouched);
  EXPECT_EQ(length, size_of(output));
  EXPECT_NE(VELM_Openssl_Base64Decode(bytes.data(), size_of(bytes), output.data(), &length), 0);
  EXPECT_EQ(output, untouched);
  EXPECT_EQ(length, size_of(output));
}

TEST(Base64, LineBreaksAreSkippedAndOtherTextsRefused) {
  uint32_t code = 1;
  int32_t api_code = 1;
  EXPECT_EQ(saf_result(SAF_Base64_Decode, "Zm9v\r\nYmFy\n", code), "foobar");
  EXPECT_EQ(api_result(VELM_Openssl_Base64Decode, "Zm9v\r\nYmFy\n", api_code), "foobar");
  for (const char* text : kNotBase64) {
    EXPECT_EQ(saf_result(SAF_Base64_Decode, text, code), "") << text;
    EXPECT_EQ(code, kSafBadInput) << text;
    EXPECT_EQ(api_result(VELM_Openssl_Base64Decode, text, api_code), "") << text;
    EXPECT_NE(api_code, 0) << text;
  }
}

TEST(Base64, AnInvalidTextIsReportedBeforeASmallBuffer) {
  uint8_t output[4] = {9, 9, 9, 9};
  uint32_t length = 0;
  EXPECT_EQ(SAF_Base64_Decode(as_bytes("Zm9!").data(), 4, output, &length), kSafBadInput);
  EXPECT_EQ(SAF_Base64_Decode(as_bytes("Zm9v").data(), 4, output, &length), kSafBadLength);
  EXPECT_EQ(SAF_Base64_Decode(as_bytes("Zm9!").data(), 4, output, nullptr), kSafBadInput);
  length = 3;
  EXPECT_EQ(SAF_Base64_Decode(as_bytes("Zm9v").data(), 4, output, &length), kSafSuccess);
  EXPECT_EQ(as_text({output, length}), "foo");
  EXPECT_EQ(output[3], 9);
}

TEST(Base64, BadArgumentsAreRefusedAndNothingIsWritten) {
  const ByteView plain = as_bytes("foo");
  const ByteView text = as_bytes("Zm9v");
  uint8_t output[4] = {9, 9, 9, 9};
  for (const auto& [function, input] : {std::pair(&SAF_Base64_Encode, plain), {&SAF_Base64_Decode, text}}) {
    uint32_t length = 2;
    EXPECT_EQ(function(input.data(), size_of(input), output, &length), kSafBadLength);
    EXPECT_EQ(length, 2u);
    EXPECT_EQ(function(nullptr, 3, output, &length), kSafBadInput);
    EXPECT_EQ(function(input.data(), size_of(input), output, nullptr), kSafBadInput);
  }
  for (const auto& [function, input] :
       {std::pair(&VELM_Openssl_Base64Encode, plain), {&VELM_Openssl_Base64Decode, text}}) {
    uint32_t length = 2;
    EXPECT_NE(function(nullptr, 3, output, &length), 0);
    EXPECT_NE(function(input.data(), size_of(input), nullptr, &length), 0);
    EXPECT_NE(function(input.data(), size_of(input), output, nullptr), 0);
    EXPECT_EQ(length, 2u);
  }
  uint32_t length = 2;
  for (const uint32_t size : {0xBFFFFFFEu, UINT32_MAX}) {  // the length of the text does not fit in 32 bits
    EXPECT_NE(VELM_Openssl_Base64Encode(plain.data(), size, output, &length), 0);
  }
  EXPECT_EQ(length, 2u);
  EXPECT_EQ(Bytes(output, output + 4), Bytes(4, 9));
}

/** RFC 4648 section 4, bit by bit. */
constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string encoded_by_bits(ByteView bytes) {
  std::string text;
  for (size_t bit = 0; bit < bytes.size() * 8; bit += 6) {
    size_t digit = 0;
    for (size_t i = bit; i < bit + 6; ++i) {
      const bool set = i < bytes.size() * 8 && (bytes[i / 8] >> (7 - i % 8) & 1) != 0;
      digit = digit * 2 + (set ? 1 : 0);
    }
    text += kDigits[digit];
  }
  while (text.size() % 4 != 0) text += '=';
  return text;
}

std::optional<Bytes> decoded_by_bits(std::string text) {
  std::erase_if(text, [](char c) { return c == '\r' || c == '\n'; });
  if (text.size() % 4 != 0) return std::nullopt;
  const size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
  text.resize(text.size() - padding);
  Bytes bytes;
  uint32_t bits = 0;
  size_t count = 0;
  for (const char c : text) {
    const size_t digit = kDigits.find(c);
    if (digit == std::string_view::npos) return std::nullopt;
    bits = bits << 6 | static_cast<uint32_t>(digit);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes.push_back(static_cast<uint8_t>(bits >> count));
  }
  return bytes;
}

// Buffers on the heap of exactly the sizes, so that the sanitizer notices any other byte.
template <typename Function>
auto result_in_exact_buffers(Function function, ByteView input, size_t capacity, Bytes& output) {
  const auto exact_input = std::make_unique<uint8_t[]>(input.size());
  const auto exact_output = std::make_unique<uint8_t[]>(capacity);
  std::ranges::copy(input, exact_input.get());
  auto length = static_cast<uint32_t>(capacity);
  const auto code = function(exact_input.get(), size_of(input), exact_output.get(), &length);
  output.assign(exact_output.get(), exact_output.get() + (code == 0 ? length : 0));
  return code;
}

TEST(Base64, OfRandomBytesAndTextsIsThatOfTheStandard) {
  std::mt19937 random(1);
  const auto below = [&](size_t limit) { return random() % limit; };
  for (int turn = 0; turn < 4000; ++turn) {
    Bytes bytes(turn < 400 ? static_cast<size_t>(turn) : 1 + below(600));
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
    std::string text = encoded_by_bits(bytes);
    Bytes output;
    if (!bytes.empty()) {
      EXPECT_EQ(result_in_exact_buffers(SAF_Base64_Encode, bytes, text.size(), output), kSafSuccess);
      EXPECT_EQ(as_text(output), text);
      EXPECT_EQ(result_in_exact_buffers(SAF_Base64_Encode, bytes, text.size() - 1, output), kSafBadLength);
      EXPECT_EQ(result_in_exact_buffers(VELM_Openssl_Base64Encode, bytes, text.size(), output), 0);
      EXPECT_EQ(as_text(output), text);
    }
    for (size_t changes = below(4); changes > 0 && !text.empty(); --changes) {
      const char c = below(2) == 0 ? "=\r\n -_*A"[below(8)] : static_cast<char>(random());
      const auto at = static_cast<ptrdiff_t>(below(text.size()));
      if (below(3) == 0) {
        text.insert(text.begin() + at, c);
      } else if (below(2) == 0) {
        text.erase(text.begin() + at);
      } else {
        text[static_cast<size_t>(at)] = c;
      }
    }
    if (text.empty()) continue;
    const auto expected = decoded_by_bits(text);
    const size_t capacity = expected ? expected->size() : text.size();
    SCOPED_TRACE(text);
    ASSERT_EQ(result_in_exact_buffers(SAF_Base64_Decode, as_bytes(text), capacity, output),
              expected ? kSafSuccess : kSafBadInput);
    ASSERT_EQ(output, expected.value_or(Bytes()));
    ASSERT_EQ(result_in_exact_buffers(VELM_Openssl_Base64Decode, as_bytes(text), capacity, output) == 0,
              expected.has_value());
    ASSERT_EQ(output, expected.value_or(Bytes()));
  }
}

}  // namespace
}  // namespace velm::token

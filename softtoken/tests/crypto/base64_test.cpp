#include "softtoken/crypto/base64.h"

#include <random>

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include "softtoken/crypto/base64_vector.h"

namespace velm::token {
namespace {

TEST(Base64, EncodesThePublishedVectors) {
  const std::pair<const char*, const char*> vectors[] = {{"", ""},
                                                         {"f", "Zg=="},
                                                         {"fo", "Zm8="},
                                                         {"foo", "Zm9v"},
                                                         {"foob", "Zm9vYg=="},
                                                         {"fooba", "Zm9vYmE="},
                                                         {"foobar", "Zm9vYmFy"}};
  for (const auto& [plain, text] : vectors) {
    EXPECT_EQ(base64_encode(as_bytes(plain)), text);
    EXPECT_EQ(base64_decode(text), copy_of(as_bytes(plain)));
  }
}

TEST(Base64, DecodesEveryByteValueAcrossLines) {
  Bytes all(256);
  for (size_t i = 0; i < all.size(); ++i) all[i] = static_cast<uint8_t>(i);
  std::string text = base64_encode(all);
  text.insert(64, "\r\n");
  text += "\n";
  EXPECT_EQ(base64_decode(text), all);
}

TEST(Base64, RefusesWhatIsNotBase64) {
  for (const char* text :
       {"Zg", "Zg=", "Zg===", "=", "====", "Z===", "Zm9v=", "Zg==Zg==", "Zg==\nZ", "Zm9*", "Zm 9", "Zg=v"}) {
    EXPECT_EQ(base64_decode(text), std::nullopt) << text;
  }
}

// Characters that decoders often skip, at every place of a text of several thousand characters.
TEST(Base64, RefusesOtherCharactersAnywhere) {
  const std::string text = base64_encode(Bytes(6146, 0x5A));
  const size_t places[] = {0, 1, 3, 4, 4092, 4095, 4096, 4097, 8188, 8191, 8192, text.size() - 1};
  for (const char c : {' ', '\t', '-', '_', '\0', '=', '\x80', '\xFF'}) {
    for (const size_t place : places) {
      std::string changed = text;
      if (changed[place] == c) continue;
      changed[place] = c;
      EXPECT_EQ(base64_decode(changed), std::nullopt) << place << " " << int{c};
      for (const size_t count : {1u, 4u}) {
        changed = text;
        changed.insert(place, count, c);
        EXPECT_EQ(base64_decode(changed), std::nullopt) << place << " " << int{c} << " " << count;
      }
    }
  }
}

TEST(Base64, WritesNothingIfTheTextIsNotBase64) {
  std::string text = base64_encode(Bytes(6146, 0x5A));
  text[text.size() - 5] = '*';
  Bytes bytes(6146, 0xA5);
  EXPECT_EQ(base64_decode(text, bytes.data()), std::nullopt);
  EXPECT_EQ(bytes, Bytes(6146, 0xA5));
}

Bytes random_sample(size_t size) {
  static std::mt19937 generator(20261122);
  Bytes bytes(size);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(generator());
  return bytes;
}

// EVP_EncodeBlock() appends a NUL.
std::string encoded_by_openssl(ByteView bytes) {
  std::string text(base64_length(bytes.size()) + 1, '\0');
  const int length =
      EVP_EncodeBlock(reinterpret_cast<uint8_t*>(text.data()), bytes.data(), static_cast<int>(bytes.size()));
  text.resize(static_cast<size_t>(length));
  return text;
}

// The vectors have their exact size, so the address sanitizer finds every access beyond them.
TEST(Base64, OfEveryLengthAgreesWithOpenSsl) {
  for (size_t size = 0; size <= 4096; ++size) {
    const Bytes bytes = random_sample(size);
    std::vector<char> text(base64_length(size));
    base64_encode(bytes, text.data());
    ASSERT_EQ(std::string(text.begin(), text.end()), encoded_by_openssl(bytes)) << size;
    Bytes decoded(size);
    ASSERT_EQ(base64_decode({text.data(), text.size()}, decoded.data()), size);
    ASSERT_EQ(decoded, bytes) << size;
  }
}

TEST(Base64, VectorsAcceptTheDigitsAndNothingElse) {
  if (!__builtin_cpu_supports("ssse3")) GTEST_SKIP() << "the processor has no SSSE3";
  const std::string alphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";  // RFC 4648 section 4
  for (int value = 0; value < 256; ++value) {
    const char c = static_cast<char>(value);
    const bool digit = alphabet.find(c) != std::string::npos;
    for (size_t place = 0; place < kVectorDigits; ++place) {
      std::string text(kVectorDigits, 'A');
      text[place] = c;
      ASSERT_EQ(decode_vectors(text.data(), text.size(), nullptr), digit ? kVectorDigits : 0) << value;
      Bytes bytes(kVectorBytes, 0xA5);
      decode_vectors(text.data(), text.size(), bytes.data());
      ASSERT_EQ(bytes == Bytes(kVectorBytes, 0xA5), !digit) << value;
      ASSERT_EQ(encoded_by_openssl(bytes) == text, digit) << value;
    }
  }
}

// Every byte at every place of texts of up to two vectors and one more group, compared with a simple decoder
// written from RFC 4648.
TEST(Base64, EveryByteAtEveryPlaceIsJudgedAsTheStandardSays) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const auto expected = [&](std::string text) -> std::optional<Bytes> {
    std::erase_if(text, [](char c) { return c == '\r' || c == '\n'; });
    const size_t end = text.find_last_not_of('=') + 1;
    if (text.size() % 4 != 0 || text.size() - end > 2) return std::nullopt;
    Bytes bytes;
    uint32_t bits = 0;
    for (size_t i = 0; i < text.size(); ++i) {
      const size_t value = i < end ? alphabet.find(text[i]) : 0;
      if (value == std::string::npos) return std::nullopt;
      bits = bits << 6 | static_cast<uint32_t>(value);
      if (i % 4 != 3) continue;
      for (const int shift : {16, 8, 0}) bytes.push_back(static_cast<uint8_t>(bits >> shift));
    }
    bytes.resize(bytes.size() - (text.size() - end));
    return bytes;
  };
  for (size_t size = 1; size <= 27; ++size) {
    const std::string text = base64_encode(random_sample(size));
    for (size_t place = 0; place < text.size(); ++place) {
      for (int value = 0; value < 256; ++value) {
        std::string changed = text;
        changed[place] = static_cast<char>(value);
        ASSERT_EQ(base64_decode(changed), expected(changed)) << size << " " << place << " " << value;
      }
    }
  }
}

// Line breaks at every place, and texts cut at every place, around the 64 digits that are decoded at once.
TEST(Base64, LineBreaksAnywhereChangeNothing) {
  for (size_t size = 0; size <= 99; ++size) {
    const Bytes bytes = random_sample(size);
    const std::string text = base64_encode(bytes);
    for (size_t place = 0; place <= text.size(); ++place) {
      for (const char* line_break : {"\n", "\r\n", "\r\r\n\n"}) {
        std::string broken = text;
        broken.insert(place, line_break);
        ASSERT_EQ(base64_decode(broken), bytes) << size << " " << place;
        ASSERT_GE(base64_decoded_length(broken), bytes.size());
      }
      ASSERT_EQ(base64_decode(text.substr(0, place)).has_value(), place % 4 == 0) << size << " " << place;
    }
  }
}

TEST(Base64, OfEverySizeUsesNoByteBehindTheBuffer) {
  constexpr uint8_t kGuard = 0xA5;
  for (size_t size = 0; size < 4200; size += size < 20 ? 1 : 83) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i * 7);
    Bytes text(base64_length(size) + 1, kGuard);
    base64_encode(bytes, reinterpret_cast<char*>(text.data()));
    EXPECT_EQ(text.back(), kGuard) << size;
    std::string lines = as_text(ByteView(text).first(text.size() - 1));
    EXPECT_EQ(lines, base64_encode(bytes));
    for (size_t at = 64; at < lines.size(); at += 65) lines.insert(at, 1, '\n');

    EXPECT_EQ(base64_decoded_length(lines), size);
    Bytes decoded(size + 1, kGuard);
    EXPECT_EQ(base64_decode(lines, decoded.data()), size);
    EXPECT_EQ(decoded.back(), kGuard) << size;
    decoded.pop_back();
    EXPECT_EQ(decoded, bytes);

    EXPECT_EQ(base64_decode(lines, nullptr), size);
    EXPECT_EQ(base64_decode(lines, reinterpret_cast<uint8_t*>(lines.data())), size);
    EXPECT_EQ(lines.substr(0, size), as_text(bytes));
  }
}

}  // namespace
}  // namespace velm::token

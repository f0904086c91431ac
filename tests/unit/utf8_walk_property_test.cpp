// Texts generated from characters of known form: the first character that decides makes the result.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "basekit/basic/utf8_walk.h"
#include "random_cases.h"

using namespace velm::test;

namespace {

char byte_between(RandomSource& random, int lowest, int highest) {
  return static_cast<char>(lowest +
                           static_cast<int>(random.below(static_cast<size_t>(highest - lowest + 1))));
}

char continuation(RandomSource& random) { return byte_between(random, 0x80, 0xBF); }

char no_continuation(RandomSource& random) {
  return random.one_in(2) ? byte_between(random, 0x00, 0x7F) : byte_between(random, 0xC0, 0xFF);
}

char lead_of(RandomSource& random, size_t size) {
  if (size == 2) return byte_between(random, 0xC0, 0xDF);
  return size == 3 ? byte_between(random, 0xE0, 0xEF) : byte_between(random, 0xF0, 0xF7);
}

std::string whole(RandomSource& random, size_t size) {
  std::string character(1, lead_of(random, size));
  while (character.size() < size) character += continuation(random);
  return character;
}

// A character after which the walk continues.
std::string passed(RandomSource& random) {
  if (random.one_in(2)) return std::string(1, byte_between(random, 0x00, 0x7F));
  return whole(random, 3 + random.below(2));
}

// A character that makes the text local.
std::string refused(RandomSource& random) {
  switch (random.below(3)) {
    case 0:
      return std::string(1, random.one_in(2) ? continuation(random) : byte_between(random, 0xF8, 0xFF));
    case 1:
      return whole(random, 2);
    default: {
      const size_t size = 2 + random.below(3);
      std::string character = whole(random, size);
      character[1 + random.below(size - 1)] = no_continuation(random);
      return character;
    }
  }
}

// A last character of which bytes are missing.
std::string cut(RandomSource& random) {
  const size_t size = 2 + random.below(3);
  std::string character(1, lead_of(random, size));
  return character + random.bytes(random.below(size - 1));
}

bool is_utf8(const std::string& text) {
  const auto bytes = std::make_unique<char[]>(text.size());  // of its exact size, for the address sanitizer
  std::memcpy(bytes.get(), text.data(), text.size());
  return velm::xencoding_is_utf8(bytes.get(), text.size());
}

std::string passed_text(RandomSource& random) {
  std::string text;
  for (size_t count = random.below(12); count > 0; --count) text += passed(random);
  return text;
}

TEST(Utf8WalkProperty, CharactersOfOtherSizesThanTwoPass) {
  for_random_cases(10'000, [](RandomSource& random) { EXPECT_TRUE(is_utf8(passed_text(random))); });
}

TEST(Utf8WalkProperty, OneRefusedCharacterDecides) {
  for_random_cases(10'000, [](RandomSource& random) {
    EXPECT_FALSE(is_utf8(passed_text(random) + refused(random) + random.bytes(random.below(8))));
  });
}

TEST(Utf8WalkProperty, ATextMayEndWithinACharacter) {
  for_random_cases(10'000,
                   [](RandomSource& random) { EXPECT_TRUE(is_utf8(passed_text(random) + cut(random))); });
}

}  // namespace

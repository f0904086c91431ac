#include "basekit/basic/base64.h"

#include <memory>

#include <gtest/gtest.h>

#include "crypto_module.h"

using namespace velm;
using namespace velm::test;

namespace {

class Base64Text : public testing::Test {
 protected:
  void SetUp() override { encoder = plain_encoder; }
};

TEST_F(Base64Text, ContainsTheModulesOutput) {
  EXPECT_EQ(xbase64_encode_string("abc", 2), "<ab>");
  EXPECT_EQ(xbase64_encode_text("abc"), "<abc>");
}

TEST_F(Base64Text, NullAndEmptyInputsAreEncoded) {
  EXPECT_EQ(xbase64_encode_string("", 0), "<>");
  EXPECT_EQ(xbase64_encode_string(nullptr, 0), "<>");
  EXPECT_EQ(xbase64_encode_string(nullptr, 5), "<>");
  EXPECT_EQ(xbase64_encode_text(nullptr), "<>");
}

TEST_F(Base64Text, IsEmptyWhenTheModuleFails) {
  encoder = encoder_that(-1, "YWJj", 4);
  EXPECT_EQ(xbase64_encode_string("abc", 3), "");
  EXPECT_EQ(xbase64_encode_text("abc"), "");
}

TEST_F(Base64Text, IsEmptyWhenTheModuleOverstatesItsOutput) {
  encoder = encoder_that(0, "YWJj", 1u << 30);
  EXPECT_EQ(xbase64_encode_string("abc", 3), "");
}

TEST_F(Base64Text, IsEmptyForLengthsAbove32Bits) {
  encoder = [](const uint8_t*, uint32_t, uint8_t*, uint32_t*) {
    ADD_FAILURE() << "the encoder was called";
    return 0;
  };
  for (const size_t size : {size_t{0xBFFFFFFE}, size_t{0xFFFFFFFF}, size_t{0x100000003}}) {
    EXPECT_EQ(xbase64_encode_string("", size), "") << size;
  }
}

TEST_F(Base64Text, EndsAtTheFirstZero) {
  encoder = encoder_that(0, "YWJj", 5);
  EXPECT_EQ(xbase64_encode_string("abc", 3), "YWJj");
}

// The encoder writes some bytes, perhaps with line breaks, and claims the whole buffer.
TEST_F(Base64Text, OverstatedLengthAddsNothing) {
  const size_t room = base64_room(3);
  for (size_t written = base64_length(3); written < room; ++written) {
    encoder = [&](const uint8_t*, uint32_t, uint8_t* text, uint32_t* text_length) {
      std::memset(text, 'A', written);
      *text_length = static_cast<uint32_t>(room);
      return 0;
    };
    std::string text(room, 'x');  // what earlier requests left
    ASSERT_EQ(encode_base64("abc", 3, text.data()), written);
  }
}

TEST(BoundedLength, EndsAtTheFirstZeroOrTheSize) {
  for (size_t size = 0; size < 300; ++size) {
    const auto text = std::make_unique<char[]>(size);  // of its exact size, for the address sanitizer
    std::memset(text.get(), 'A', size);
    ASSERT_EQ(bounded_length(text.get(), size), size);
    for (size_t zero = size; zero-- > 0;) {
      text[zero] = '\0';
      ASSERT_EQ(bounded_length(text.get(), size), zero) << size;
    }
  }
}

TEST_F(Base64Text, BufferHasRoomForLineBreaks) {
  for (uint64_t size : {0ull, 1ull, 5ull, 48ull, 1000ull, 1ull << 26, 0xFFFFFFFFull}) {
    const uint64_t lines = size / 48 + 1;
    EXPECT_GE(base64_room(size), (size + 2) / 3 * 4 + 2 * lines + 1) << size;
    if (size > 1 << 20) {
      EXPECT_LT(static_cast<double>(base64_room(size)), 1.4 * static_cast<double>(size));
    }
  }
}

}  // namespace

#include "protocol/byte_frame.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "velm_sof_client/request_memory.h"

using namespace velm::protocol;
using testing::ElementsAreArray;

namespace {

using Bytes = std::vector<uint8_t>;

// Builds a request as the library does, in memory of exactly the computed size, and once more in a string.
Bytes request(FunctionNumber function, std::initializer_list<FrameField> fields) {
  velm::RequestMemory memory(request_size(fields));
  append_request(memory, function, fields);
  std::string text;
  append_request(text, function, fields);
  EXPECT_EQ(text, std::string(memory.data(), memory.length()));
  return Bytes(text.begin(), text.end());
}

TEST(RequestFrame, BeginsWithMarkAndFunctionNumber) {
  EXPECT_THAT(request(FunctionNumber::Config, {}), ElementsAreArray(Bytes{0x77, 0x2B}));
}

TEST(RequestFrame, WritesNumbersByteStringsAndTexts) {
  const uint8_t certificate[] = {0xAA, 0xBB};
  EXPECT_THAT(request(FunctionNumber::GetCertInfo, {FrameBytes{certificate, 2}, "C1", uint32_t{0x04030201}}),
              ElementsAreArray(Bytes{0x77, 11, 2, 0, 0, 0, 0xAA, 0xBB, 3, 0, 0, 0, 'C', '1', 0, 1, 2, 3, 4}));
}

TEST(RequestFrame, SendsAnEmptyTextAsItsTerminator) {
  EXPECT_THAT(request(FunctionNumber::DecryptData, {""}), ElementsAreArray(Bytes{0x77, 20, 1, 0, 0, 0, 0}));
}

TEST(RequestFrame, SendsNullAsEmpty) {
  EXPECT_THAT(
      request(FunctionNumber::DecryptData, {static_cast<const char*>(nullptr), FrameBytes{nullptr, 9}}),
      ElementsAreArray(Bytes{0x77, 20, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(RequestFrame, LongTextIsNotTruncated) {
  const std::string name(300, 'n');
  const Bytes frame = request(FunctionNumber::ReadUsrDataFile, {name.c_str()});
  ASSERT_EQ(frame.size(), 2u + 4 + 301);
  EXPECT_EQ(frame[2] | frame[3] << 8, 301);
  EXPECT_EQ(frame.back(), 0);
}

TEST(RequestFrame, BodyAbove32BitsIsRefused) {
  const uint8_t byte = 0;
  EXPECT_THROW(request(FunctionNumber::EncryptData, {FrameBytes{&byte, UINT32_MAX}}), std::bad_alloc);
  EXPECT_THROW(FrameBytes(&byte, size_t{UINT32_MAX} + 1), std::bad_alloc);
}

TEST(RequestFrame, SizeIsComputedIn64Bits) {
  const uint8_t byte = 0;
  EXPECT_EQ(request_size({FrameBytes{&byte, UINT32_MAX}, FrameBytes{&byte, UINT32_MAX}, uint32_t{1}}),
            2u + 2 * (4 + uint64_t{0xFFFFFFFF}) + 4);
}

Bytes response(uint32_t code, const Bytes& data) {
  Bytes frame{static_cast<uint8_t>(code),
              static_cast<uint8_t>(code >> 8),
              static_cast<uint8_t>(code >> 16),
              static_cast<uint8_t>(code >> 24),
              static_cast<uint8_t>(data.size()),
              0,
              0,
              0};
  frame.insert(frame.end(), data.begin(), data.end());
  return frame;
}

// Reads from a block of exactly this size, so that a sanitizer detects any overrun.
FrameAnswer read(const Bytes& frame, FrameContent content = FrameContent::code_and_data) {
  return read_answer(frame, frame.size(), content);
}

TEST(ResponseFrame, ContainsCodeOrData) {
  const Bytes good = response(0, {1, 2, 3});
  EXPECT_FALSE(read(good).refused);
  EXPECT_EQ(read(good).code, 0u);
  EXPECT_THAT(read(good).data, ElementsAreArray(Bytes{1, 2, 3}));

  const Bytes code_only{0x03, 0x04, 0x00, 0x0B};
  EXPECT_FALSE(read(code_only).refused);
  EXPECT_EQ(read(code_only).code, 0x0B000403u);
}

TEST(ResponseFrame, EveryTruncationOfAValidAnswerIsRefused) {
  const Bytes whole = response(0, {1, 2, 3, 4, 5});
  for (size_t length = 0; length < whole.size(); ++length) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_TRUE(read(cut).refused) << length;
  }
}

TEST(ResponseFrame, LengthMayBeBelowTheDataButNotAbove) {
  for (uint32_t length = 0; length < 256; ++length) {
    Bytes frame = response(0, {1, 2, 3});
    frame[4] = static_cast<uint8_t>(length);
    EXPECT_EQ(read(frame).refused, length > 3) << length;
    if (length <= 3) {
      EXPECT_EQ(read(frame).data.size(), length);
    }
  }
  Bytes frame = response(0, {1, 2, 3});
  frame[7] = 0xFF;
  EXPECT_TRUE(read(frame).refused);
}

TEST(ResponseFrame, FrameAboveTheCapacityIsRefused) {
  for (uint32_t code : {0u, 0x0B000403u}) {
    const Bytes frame = response(code, {1});
    EXPECT_TRUE(read_answer(frame, frame.size() + 1, FrameContent::code_and_data).refused);
    EXPECT_TRUE(read_answer(frame, UINT32_MAX, FrameContent::code_and_data).refused);
  }
  EXPECT_TRUE(read_answer({}, 1, FrameContent::code_and_data).refused);
}

TEST(ResponseFrame, CodeAloneSufficesWithoutData) {
  EXPECT_FALSE(read({0, 0, 0, 0}, FrameContent::code_only).refused);
  EXPECT_TRUE(read({0, 0, 0, 0}).refused);
  EXPECT_TRUE(read({0, 0, 0}, FrameContent::code_only).refused);
}

// Reads from a block of exactly this size, as above.
TEST(RequestFrame, RoundTrip) {
  const uint8_t block[] = {0xAA, 0xBB};
  const Bytes frame =
      request(FunctionNumber::EncryptData, {uint32_t{0xFFFFFFFE}, FrameBytes{block, 2}, "C1"});
  const auto read = read_request(frame);
  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read->function, 19);
  FieldReader fields(read->fields);
  EXPECT_EQ(fields.number(), 0xFFFFFFFE);
  EXPECT_THAT(fields.bytes().value(), ElementsAreArray(block));
  EXPECT_FALSE(fields.at_end());
  EXPECT_EQ(text_in(fields.bytes().value()), "C1");
  EXPECT_TRUE(fields.at_end());
}

TEST(RequestFrame, RequiresMarkAndFunctionNumber) {
  EXPECT_FALSE(read_request({}).has_value());
  EXPECT_FALSE(read_request(Bytes{0x77}).has_value());
  EXPECT_FALSE(read_request(Bytes{0x76, 11}).has_value());
  const Bytes head{0x77, 0xFF};
  EXPECT_EQ(read_request(head).value().function, 255);
  EXPECT_TRUE(read_request(head).value().fields.empty());
}

TEST(Fields, ANumberNeedsFourBytes) {
  for (size_t size = 0; size < 4; ++size) {
    const Bytes cut(size, 1);
    EXPECT_FALSE(FieldReader(cut).number().has_value()) << size;
    EXPECT_FALSE(FieldReader(cut).bytes().has_value()) << size;
  }
  const Bytes whole{1, 2, 3, 4};
  FieldReader fields(whole);
  EXPECT_EQ(fields.number(), 0x04030201u);
  EXPECT_TRUE(fields.at_end());
  EXPECT_FALSE(fields.number().has_value());
}

TEST(Fields, ByteStringMustEndWithinTheFields) {
  for (const uint32_t length : {0u, 1u, 3u, 4u, 0x80000000u, 0xFFFFFFFCu, 0xFFFFFFFFu}) {
    const Bytes bytes{static_cast<uint8_t>(length),
                      static_cast<uint8_t>(length >> 8),
                      static_cast<uint8_t>(length >> 16),
                      static_cast<uint8_t>(length >> 24),
                      7,
                      8,
                      9};
    FieldReader fields(bytes);
    const auto read = fields.bytes();
    ASSERT_EQ(read.has_value(), length <= 3) << length;
    if (read) {
      EXPECT_EQ(read->size(), length);
      EXPECT_EQ(fields.at_end(), length == 3);
    }
  }
}

TEST(Fields, ATextEndsAtItsFirstZero) {
  EXPECT_EQ(text_in(Bytes{'a', 'b', 0, 'c', 0}), "ab");
  EXPECT_EQ(text_in(Bytes{0}), "");
  EXPECT_FALSE(text_in(Bytes{'a', 'b'}).has_value());
  EXPECT_FALSE(text_in({}).has_value());
}

TEST(ResponseFrame, IsCodeOrLengthAndData) {
  const auto bytes = [](const std::string& answer) { return Bytes(answer.begin(), answer.end()); };
  EXPECT_THAT(bytes(build_answer(0x0B000425u)), ElementsAreArray(Bytes{0x25, 0x04, 0x00, 0x0B}));
  EXPECT_THAT(bytes(build_answer(Bytes{0xF1, 0xF2})),
              ElementsAreArray(Bytes{0, 0, 0, 0, 2, 0, 0, 0, 0xF1, 0xF2}));
  EXPECT_THAT(bytes(build_answer(FrameView())), ElementsAreArray(Bytes{0, 0, 0, 0, 0, 0, 0, 0}));
}

}  // namespace

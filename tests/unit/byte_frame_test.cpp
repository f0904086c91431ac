#include "velm_sof_client/byte_frame.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

using namespace velm;
using testing::ElementsAreArray;

namespace {

using Bytes = std::vector<uint8_t>;

Bytes bytes_of(const RequestMemory& request) {
  return Bytes(request.data(), request.data() + request.length());
}

TEST(RequestFrame, OpensWithMarkAndFunctionNumber) {
  EXPECT_THAT(bytes_of(build_frame(FunctionNumber::Config, {})), ElementsAreArray(Bytes{0x77, 0x2B}));
}

TEST(RequestFrame, WritesNumbersByteStringsAndTexts) {
  const uint8_t certificate[] = {0xAA, 0xBB};
  EXPECT_THAT(bytes_of(build_frame(FunctionNumber::GetCertInfo,
                                   {FrameBytes{certificate, 2}, "C1", uint32_t{0x04030201}})),
              ElementsAreArray(Bytes{0x77, 11, 2, 0, 0, 0, 0xAA, 0xBB, 3, 0, 0, 0, 'C', '1', 0, 1, 2, 3, 4}));
}

TEST(RequestFrame, SendsAnEmptyTextAsItsTerminator) {
  EXPECT_THAT(bytes_of(build_frame(FunctionNumber::DecryptData, {""})),
              ElementsAreArray(Bytes{0x77, 20, 1, 0, 0, 0, 0}));
}

TEST(RequestFrame, SendsNullAsEmpty) {
  EXPECT_THAT(bytes_of(build_frame(FunctionNumber::DecryptData,
                                   {static_cast<const char*>(nullptr), FrameBytes{nullptr, 9}})),
              ElementsAreArray(Bytes{0x77, 20, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(RequestFrame, TakesALongTextWhole) {
  const std::string name(300, 'n');
  const Bytes frame = bytes_of(build_frame(FunctionNumber::ReadUsrDataFile, {name.c_str()}));
  ASSERT_EQ(frame.size(), 2u + 4 + 301);
  EXPECT_EQ(frame[2] | frame[3] << 8, 301);
  EXPECT_EQ(frame.back(), 0);
}

TEST(RequestFrame, ABodyAbove32BitsIsNotToBeHad) {
  const uint8_t byte = 0;
  EXPECT_THROW(build_frame(FunctionNumber::EncryptData, {FrameBytes{&byte, UINT32_MAX}}), std::bad_alloc);
}

Bytes response(uint32_t code, const Bytes& data) {
  Bytes frame{static_cast<uint8_t>(code), static_cast<uint8_t>(code >> 8), static_cast<uint8_t>(code >> 16),
              static_cast<uint8_t>(code >> 24), static_cast<uint8_t>(data.size()), 0, 0, 0};
  frame.insert(frame.end(), data.begin(), data.end());
  return frame;
}

// Read from memory of exactly this size, so that a sanitizer sees every byte beyond it.
FrameAnswer read(const Bytes& frame, FrameContent content = FrameContent::code_and_data) {
  return read_frame(frame, frame.size(), content);
}

TEST(ResponseFrame, GivesCodeOrData) {
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

TEST(ResponseFrame, ALengthAboveTheDataIsRefusedAndOneBelowTaken) {
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

TEST(ResponseFrame, ATotalAboveTheCapacityIsRefusedWhateverItsCode) {
  for (uint32_t code : {0u, 0x0B000403u}) {
    const Bytes frame = response(code, {1});
    EXPECT_TRUE(read_frame(frame, frame.size() + 1, FrameContent::code_and_data).refused);
    EXPECT_TRUE(read_frame(frame, UINT32_MAX, FrameContent::code_and_data).refused);
  }
  EXPECT_TRUE(read_frame({}, 1, FrameContent::code_and_data).refused);
}

TEST(ResponseFrame, ACallThatReadsNoDataNeedsTheCodeOnly) {
  EXPECT_FALSE(read({0, 0, 0, 0}, FrameContent::code_only).refused);
  EXPECT_TRUE(read({0, 0, 0, 0}).refused);
  EXPECT_TRUE(read({0, 0, 0}, FrameContent::code_only).refused);
}

}  // namespace

#include "velm_sof_client/json_request.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "crypto_module.h"

using namespace velm;
using namespace velm::test;
using velm::protocol::FunctionNumber;

namespace {

class JsonRequest : public testing::Test {
 protected:
  void SetUp() override { encoder = plain_encoder; }
};

std::string text_of(const RequestMemory& request) { return {request.data(), request.length()}; }

TEST_F(JsonRequest, FieldsReplaceTheConversions) {
  EXPECT_EQ(text_of(format_json(R"({"funcid":%d,"ContainerName":"%s","Type":%d,"Len":%u,"In":"%s"})",
                                FunctionNumber::GetDeviceInfo, "C \"1\"", int32_t{-7}, uint32_t{4000000000},
                                Base64{"abc", 3})),
            R"({"funcid":13,"ContainerName":"C "1"","Type":-7,"Len":4000000000,"In":"<abc>"})");
}

// A format that does not match its fields must not compile.
TEST(JsonFormat, RequiresOneConversionPerField) {
  static_assert(fits_fields<>("{}"));
  static_assert(fits_fields<FunctionNumber, int32_t, uint32_t>("%d,%d,%u"));
  static_assert(fits_fields<const char*, std::string_view, Base64, char[3]>("%s%s%s%s"));
  static_assert(!fits_fields<>("%d"), "a conversion without a field");
  static_assert(!fits_fields<>("{}%"), "a percent sign without a letter");
  static_assert(!fits_fields<uint32_t>("{}"), "a field without a conversion");
  static_assert(!fits_fields<uint32_t>("%"), "the same");
  static_assert(!fits_fields<uint32_t, uint32_t>("%u"), "one field too many");
  static_assert(!fits_fields<uint32_t>("%u%u"), "one field too few");
}

TEST(JsonFormat, RequiresTheConversionOfTheFieldType) {
  static_assert(!fits_fields<uint32_t>("%d"));
  static_assert(!fits_fields<uint32_t>("%s"));
  static_assert(!fits_fields<int32_t>("%u"));
  static_assert(!fits_fields<FunctionNumber>("%u"));
  static_assert(!fits_fields<const char*>("%d"));
  static_assert(!fits_fields<Base64>("%u"));
  static_assert(!fits_fields<const char*, int32_t>("%d%s"), "in the wrong order");
}

TEST_F(JsonRequest, FormatWithoutConversions) { EXPECT_EQ(text_of(format_json("{}")), "{}"); }

TEST_F(JsonRequest, PercentSignInATextIsNotAConversion) {
  EXPECT_EQ(text_of(format_json("[%s][%s]", "%s", "%d")), "[%s][%d]");
}

TEST_F(JsonRequest, TextWithLength) {
  EXPECT_EQ(text_of(format_json("[%s][%s]", std::string_view("123456", 4), std::string_view())), "[1234][]");
}

TEST_F(JsonRequest, NullTextAndNullBytes) {
  EXPECT_EQ(text_of(format_json("[%s][%s][%s]", static_cast<const char*>(nullptr), Base64{nullptr, 5},
                                Base64{static_cast<const char*>(nullptr)})),
            "[(null)][<>][<>]");
}

TEST_F(JsonRequest, EncoderFailureGivesEmptyText) {
  encoder = encoder_that(-1, "YWJj", 4);
  EXPECT_EQ(text_of(format_json("[%s]", Base64{"abc", 3})), "[]");
}

// Fills all the room that base64 of three bytes has, without a terminating zero.
Encoder encoder_that_claims(size_t claimed) {
  return [=](const uint8_t*, uint32_t, uint8_t* text, uint32_t* text_length) {
    std::memset(text, 'A', base64_room(3));
    *text_length = static_cast<uint32_t>(claimed);
    return 0;
  };
}

TEST_F(JsonRequest, OverstatedEncoderLengthGivesEmptyText) {
  const std::string room(base64_room(3), 'A'), behind(100, 'b');
  const auto sent = [&](size_t claimed) {
    encoder = encoder_that_claims(claimed);
    return text_of(format_json("[%s][%s]", Base64{"abc", 3}, behind.c_str()));
  };
  EXPECT_EQ(sent(room.size()), "[" + room + "][" + behind + "]");
  EXPECT_EQ(sent(room.size() + 1), "[][" + behind + "]");
  EXPECT_EQ(sent(room.size() + behind.size()), "[][" + behind + "]");
}

TEST_F(JsonRequest, UnwrittenEncoderOutputIsNotSent) {
  encoder = [](const uint8_t*, uint32_t, uint8_t* text, uint32_t* text_length) {
    std::copy_n("YWJj", 4, text);
    *text_length = 100;
    return 0;
  };
  EXPECT_EQ(text_of(format_json("[%s]", Base64{"abc", 3})), "[YWJj]");
}

TEST_F(JsonRequest, SizeAbove32BitsIsRefusedBeforeEncoding) {
  encoder = [](const uint8_t*, uint32_t, uint8_t*, uint32_t*) {
    ADD_FAILURE() << "the encoder was called";
    return 0;
  };
  for (const size_t size : {size_t{0xBFFFFFFE}, size_t{0xFFFFFFFF}, size_t{0x100000003}, SIZE_MAX / 4}) {
    EXPECT_THROW(format_json("[%s]", Base64{"", size}), std::bad_alloc) << size;
  }
  // Each fits by itself, but not both together.
  EXPECT_THROW(format_json("[%s][%s]", Base64{"", 0x60000000}, Base64{"", 0x60000000}), std::bad_alloc);
  const size_t just_too_long = UINT32_MAX - 3;
  EXPECT_THROW(format_json("[%s]", std::string_view("", just_too_long)), std::bad_alloc);
}

}  // namespace

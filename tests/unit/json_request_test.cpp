#include "velm_sof_client/json_request.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

// The crypto module's encoder as these tests play it.
std::function<int32_t(const uint8_t*, uint32_t, uint8_t*, uint32_t*)> encoder;

}  // namespace

extern "C" int32_t VELM_Openssl_Base64Encode(const uint8_t* data, uint32_t length, uint8_t* text,
                                             uint32_t* text_length) {
  return encoder(data, length, text, text_length);
}

using namespace velm;

namespace {

// Writes "<" data ">" in place of base64.
int32_t plain_encoder(const uint8_t* data, uint32_t length, uint8_t* text, uint32_t* text_length) {
  const std::string encoded = "<" + std::string(reinterpret_cast<const char*>(data), length) + ">";
  encoded.copy(reinterpret_cast<char*>(text), encoded.size());
  *text_length = static_cast<uint32_t>(encoded.size());
  return 0;
}

class JsonRequest : public testing::Test {
 protected:
  void SetUp() override { encoder = plain_encoder; }
};

std::string text_of(const RequestMemory& request) { return {request.data(), request.length()}; }

TEST_F(JsonRequest, PutsFieldsInPlaceOfTheirConversions) {
  EXPECT_EQ(text_of(format_json(R"({"funcid":%d,"ContainerName":"%s","Type":%d,"Len":%u,"In":"%s"})",
                                {FunctionNumber::GetDeviceInfo, "C \"1\"", int32_t{-7}, uint32_t{4000000000},
                                 Base64{"abc", 3}})),
            R"({"funcid":13,"ContainerName":"C "1"","Type":-7,"Len":4000000000,"In":"<abc>"})");
}

TEST_F(JsonRequest, LeavesAFormatWithoutConversions) { EXPECT_EQ(text_of(format_json("{}", {})), "{}"); }

TEST_F(JsonRequest, APercentSignInATextIsNoConversion) {
  EXPECT_EQ(text_of(format_json("[%s][%s]", {"%s", "%d"})), "[%s][%d]");
}

TEST_F(JsonRequest, ATextMayEndAtALength) {
  EXPECT_EQ(text_of(format_json("[%s][%s]", {std::string_view("123456", 4), std::string_view()})), "[1234][]");
}

TEST_F(JsonRequest, PrintsNullTextAndSendsNullBytesAsNone) {
  EXPECT_EQ(text_of(format_json("[%s][%s][%s]", {static_cast<const char*>(nullptr), Base64{nullptr, 5},
                                                 Base64{static_cast<const char*>(nullptr)}})),
            "[(null)][<>][<>]");
}

TEST_F(JsonRequest, WhatCannotBeEncodedIsTheEmptyText) {
  encoder = [](auto, auto, auto, uint32_t* text_length) {
    *text_length = 4;
    return -1;
  };
  EXPECT_EQ(text_of(format_json("[%s]", {Base64{"abc", 3}})), "[]");
}

TEST_F(JsonRequest, AnEncodedLengthBeyondTheRoomIsNotTaken) {
  encoder = [](auto, auto, auto, uint32_t* text_length) {
    *text_length = 1u << 30;
    return 0;
  };
  EXPECT_EQ(text_of(format_json("[%s]", {Base64{"abc", 3}})), "[]");
}

TEST_F(JsonRequest, AnEncodedTextEndsAtItsFirstZero) {
  encoder = [](auto, auto, uint8_t* text, uint32_t* text_length) {
    std::string("YWJj\0", 5).copy(reinterpret_cast<char*>(text), 5);
    *text_length = 5;
    return 0;
  };
  EXPECT_EQ(text_of(format_json("[%s]", {Base64{"abc", 3}})), "[YWJj]");
}

TEST_F(JsonRequest, GivesTheEncoderRoomForLineBreaks) {
  for (uint64_t size : {0ull, 1ull, 5ull, 48ull, 1000ull, 1ull << 26, 0xFFFFFFFFull}) {
    const uint64_t lines = size / 48 + 1;
    EXPECT_GE(base64_room(size), (size + 2) / 3 * 4 + 2 * lines) << size;
    if (size > 1 << 20) {
      EXPECT_LT(static_cast<double>(base64_room(size)), 1.4 * static_cast<double>(size));
    }
  }
}

}  // namespace

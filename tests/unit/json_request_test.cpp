#include "velm_sof_client/json_request.h"

#include <gtest/gtest.h>

#include <string>

#include "crypto_module.h"

using namespace velm;
using namespace velm::test;

namespace {

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
  encoder = encoder_that(-1, "YWJj", 4);
  EXPECT_EQ(text_of(format_json("[%s]", {Base64{"abc", 3}})), "[]");
}

}  // namespace

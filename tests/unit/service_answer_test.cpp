#include "velm_sof_client/service_answer.h"

#include <gtest/gtest.h>

using namespace velm;

namespace {

constexpr uint32_t kNone = 0x0B000001;

uint32_t code_of(const char* text) { return ServiceAnswer(text).error_code(kNone); }

TEST(ServiceAnswer, ReadsTheCodeAsHexadecimalText) {
  EXPECT_EQ(code_of(R"({"ErrorCode":"0"})"), 0u);
  EXPECT_EQ(code_of(R"({"ErrorCode":"B000403"})"), 0x0B000403u);
  EXPECT_EQ(code_of(R"({"ErrorCode":"b000403"})"), 0x0B000403u);
  EXPECT_EQ(code_of(R"({"errorcode":"B000201"})"), 0x0B000201u);
}

TEST(ServiceAnswer, ReadsTheCodeAsASigned32BitConversion) {
  EXPECT_EQ(code_of(R"({"ErrorCode":"7FFFFFFF"})"), 0x7FFFFFFFu);
  EXPECT_EQ(code_of(R"({"ErrorCode":"80000000"})"), 0x7FFFFFFFu);
  EXPECT_EQ(code_of(R"({"ErrorCode":"FFFFFFFF"})"), 0x7FFFFFFFu);
  EXPECT_EQ(code_of(R"({"ErrorCode":"123456789ABCDEF0123"})"), 0x7FFFFFFFu);
  EXPECT_EQ(code_of(R"({"ErrorCode":"-1"})"), 0xFFFFFFFFu);
  EXPECT_EQ(code_of(R"({"ErrorCode":"-FFFFFFFFFFFFFFFFFF"})"), 0x80000000u);
  EXPECT_EQ(code_of(R"({"ErrorCode":" \t+0xB000403"})"), 0x0B000403u);
  EXPECT_EQ(code_of(R"({"ErrorCode":"B0xyz"})"), 0xB0u);
  EXPECT_EQ(code_of(R"({"ErrorCode":"xyz"})"), 0u);
  EXPECT_EQ(code_of(R"({"ErrorCode":""})"), 0u);
}

TEST(ServiceAnswer, CodeMustBeText) {
  EXPECT_EQ(code_of(R"({"ErrorCode":0})"), kNone);
  EXPECT_EQ(code_of(R"({"ErrorCode":null})"), kNone);
  EXPECT_EQ(code_of(R"({"ErrorCode":{}})"), kNone);
  EXPECT_EQ(code_of("{}"), kNone);
  EXPECT_EQ(code_of("[]"), kNone);
  EXPECT_EQ(code_of("7"), kNone);
  EXPECT_EQ(code_of("null"), kNone);
}

TEST(ServiceAnswer, DetectsInvalidJson) {
  EXPECT_TRUE(ServiceAnswer("{}").is_json());
  EXPECT_FALSE(ServiceAnswer("").is_json());
  EXPECT_FALSE(ServiceAnswer("{").is_json());
  EXPECT_FALSE(ServiceAnswer("<html>").is_json());
}

TEST(ServiceAnswer, MissingMembersHaveDefaults) {
  const ServiceAnswer answer(R"({"Result":{"Version":"1.2","Count":3,"List":["a",5]}})");
  EXPECT_STREQ(answer.result().member("version").text("0"), "1.2");
  EXPECT_STREQ(answer.result().member("Count").text("0"), "0");
  EXPECT_STREQ(answer.result().member("None").text(), "");
  EXPECT_EQ(answer.result().member("Count").integer(), 3);
  EXPECT_EQ(answer.result().member("None").integer(), 0);
  EXPECT_EQ(answer.result().member("List").size(), 2);
  EXPECT_STREQ(answer.result().member("List").element(0).text(), "a");
  EXPECT_STREQ(answer.result().member("List").element(1).text(), "");
  EXPECT_STREQ(answer.result().member("List").element(9).text(), "");
}

TEST(ServiceAnswer, ReadsNothingFromAMissingResult) {
  for (const char* text : {"{}", "[]", R"({"Result":"x"})", R"({"Result":null})", "not json"}) {
    const ServiceAnswer answer(text);
    EXPECT_STREQ(answer.result().member("Version").text("0.0.0"), "0.0.0") << text;
    EXPECT_EQ(answer.result().member("Version").integer(), 0) << text;
    EXPECT_EQ(answer.result().member("Version").size(), 0) << text;
  }
}

TEST(ServiceAnswer, ReadsTheResultItselfAsText) {
  EXPECT_STREQ(ServiceAnswer(R"({"Result":"abc"})").result().text(), "abc");
  EXPECT_STREQ(ServiceAnswer(R"({"Result":{}})").result().text(), "");
  EXPECT_STREQ(ServiceAnswer("{}").result().text(), "");
}

}  // namespace

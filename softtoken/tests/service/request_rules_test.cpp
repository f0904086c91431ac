// The decisions about a request before its call: refusal, function, thread.
#include "softtoken/service/request_rules.h"

#include <gtest/gtest.h>

#include "softtoken/service/call_duration.h"

namespace velm::token {
namespace {

constexpr RequestHead kJson{.method = "POST",
                            .target = "/",
                            .host = "127.0.0.1:55661",
                            .content_type = "application/json",
                            .has_body = true};

RequestHead with(std::string_view RequestHead::*member, std::string_view value) {
  RequestHead head = kJson;
  head.*member = value;
  return head;
}

TEST(RequestRules, RefuseBeforeTheBody) {
  const RequestRules rules(55661);
  EXPECT_EQ(rules.refusal(kJson), 0);
  EXPECT_EQ(rules.refusal(with(&RequestHead::host, "localhost:55661")), 0);
  EXPECT_EQ(rules.refusal(with(&RequestHead::host, "localhost:5566")), 403);
  EXPECT_EQ(rules.refusal(with(&RequestHead::host, "")), 403);
  EXPECT_EQ(rules.refusal(with(&RequestHead::method, "PUT")), 404);
  EXPECT_EQ(rules.refusal(with(&RequestHead::method, "GET")), 404);
  EXPECT_EQ(rules.refusal(with(&RequestHead::content_type, "text/plain")), 415);
  const std::string path(1024, '/');
  EXPECT_EQ(rules.refusal(with(&RequestHead::target, path + "?query")), 0);
  EXPECT_EQ(rules.refusal(with(&RequestHead::target, path + "/")), 414);
  RequestHead foreign = kJson;
  foreign.has_origin = true;
  EXPECT_EQ(rules.refusal(foreign), 403);
}

TEST(RequestRules, TheTraceIsReadWithGetAndWithoutABody) {
  RequestHead head = with(&RequestHead::target, "/trace");
  EXPECT_FALSE(asks_for_trace(head)) << "POST is a call";
  head.method = "GET";
  EXPECT_FALSE(asks_for_trace(head));
  head.has_body = false;
  EXPECT_TRUE(asks_for_trace(head));
  head.host = "example.com";
  EXPECT_EQ(RequestRules(55661).refusal(head), 403);
}

TEST(RequestRules, ARefusalHasTheFormOfTheRequest) {
  const RequestHead frame = with(&RequestHead::content_type, "application/octet-stream;charset=UTF-8");
  EXPECT_EQ(refusal_answer(413, kJson).body, R"({"ErrorCode":"B000200"})");
  EXPECT_EQ(refusal_answer(413, frame).body, std::string_view("\x00\x02\x00\x0B", 4));
  EXPECT_EQ(refusal_answer(503, kJson).body, R"({"ErrorCode":"B000001"})");
  EXPECT_EQ(refusal_answer(503, frame).content_type, "application/octet-stream");
  EXPECT_EQ(refusal_answer(415, RequestHead()).body, R"({"ErrorCode":"B000002"})");
  EXPECT_EQ(refusal_answer(403, kJson).body, "");
  EXPECT_EQ(refusal_answer(413, with(&RequestHead::target, "/tsa")).body, "");
}

TEST(CallDuration, DependsOnTheBodyAndTheFunction) {
  const RequestHead module = with(&RequestHead::target, "/token");
  EXPECT_TRUE(takes_long(kJson, R"({"funcid":7,"UserName":"A"})"));
  EXPECT_TRUE(takes_long(kJson, R"({ "UserName":"A", "funcid" : 29})"));
  EXPECT_FALSE(takes_long(kJson, R"({"funcid":15,"InData":""})"));
  EXPECT_FALSE(takes_long(kJson, R"({"funcid":3})"));
  EXPECT_TRUE(takes_long(module, R"({"funcid":3})"));
  EXPECT_FALSE(takes_long(module, R"({"funcid":7})"));
  EXPECT_FALSE(takes_long(with(&RequestHead::content_type, "application/octet-stream"), R"("funcid":7)"));
  for (const char* text : {"", R"("funcid")", R"("funcid":)", R"("funcid":x)", R"("funcid":99999999999)"})
    EXPECT_FALSE(takes_long(kJson, text)) << text;
  EXPECT_TRUE(takes_long(kJson, std::string(kSmallBody + 1, ' ')));
}

}  // namespace
}  // namespace velm::token

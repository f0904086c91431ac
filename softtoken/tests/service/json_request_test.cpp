// Tests which texts are requests, and what their members contain.
#include "softtoken/service/json_request.h"

#include <functional>
#include <memory>
#include <random>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/token_error.h"

namespace velm::token {
namespace {

// A text in memory of its exact size and padding, so the address sanitizer finds every access beyond it.
class Received {
 public:
  explicit Received(std::string_view text) : memory_(text.size() + kJsonPadding, '"') {
    std::ranges::copy(text, memory_.begin());
    request_ = std::make_unique<JsonRequest>(std::span(memory_).first(text.size()), memory_.size());
  }
  JsonRequest* operator->() { return request_.get(); }

 private:
  std::vector<char> memory_;
  std::unique_ptr<JsonRequest> request_;
};

bool accepted(std::string_view text) {
  try {
    const Received request(text);
    return true;
  } catch (const TokenError& error) {
    EXPECT_EQ(error.code(), kBadInput);
    return false;
  }
}

void expect_bad_input(const std::function<void()>& call) {
  try {
    call();
    ADD_FAILURE() << "no error";
  } catch (const TokenError& error) {
    EXPECT_EQ(error.code(), kBadInput);
  }
}

std::string members(size_t count) {
  std::string text = "{";
  for (size_t i = 0; i < count; ++i) text += (i == 0 ? "\"m" : ",\"m") + std::to_string(i) + "\":0";
  return text + "}";
}

// Flat objects: another JSON parser decides whether each is valid.
TEST(JsonRequest, AcceptsEveryFlatObjectAndNothingElse) {
  for (const char* text :
       {R"({})", R"( { } )", "\r\n\t{\"a\":1}\n", "\xEF\xBB\xBF{\"a\":1}", R"({"a":"b","a":"c"})",
        R"({"":""})", R"({"a":true,"b":false,"c":null})", R"({"a":-0,"b":1e3,"c":0.5,"d":-1.5E-3})",
        R"({"a":18446744073709551615,"b":18446744073709551616,"c":-9223372036854775809})",
        R"({"a":"\u53e3\ud83d\ude00\/\b\f\n\r\t\\\""})", R"({"\u0061":1})", "{\"a\":\"\x7F\"}",
        // not JSON
        "", " ", "{", "}", "{\"a\"", "{\"a\":", "{\"a\":1", "{\"a\":1,}", "{,}", "{\"a\":1 \"b\":2}",
        "{\"a\" 1}", "{a:1}", "{'a':1}", "{\"a\":1}x", "{\"a\":1}{}", "{\"a\":1}\"", "{\"a\":tru}",
        "{\"a\":truex}", "{\"a\":nul}", "{\"a\":nullx}", "{\"a\":falsy}", "{\"a\":01}", "{\"a\":+1}",
        "{\"a\":1.}", "{\"a\":.5}", "{\"a\":1e}", "{\"a\":-}", "{\"a\":1x}", "{\"a\":1e999}", "{\"a\":NaN}",
        "{\"a\":\"\\x\"}", "{\"a\":\"\\u12\"}", "{\"a\":\"\\ud800\"}", "{\"a\":\"\\udc00\"}",
        "{\"a\":\"\n\"}", "{\"a\":\"b}", "{\"a\":\"b\\\"}", "{\"\\x\":1}", "{\"a\":/**/1}", "{\"a\":\xFF}",
        "{\"a\":\"\xFF\"}", "\xEF\xBB{\"a\":1}", "{\"a\":1}\xEF\xBB\xBF"}) {
    EXPECT_EQ(accepted(text), nlohmann::json::accept(text)) << text;
  }
}

TEST(JsonRequest, ATerminatingNulIsIgnored) {
  using namespace std::string_literals;
  EXPECT_TRUE(accepted("{\"a\":1}\0"s));
  EXPECT_TRUE(accepted("{\"a\":1}\0\0\0"s));
  EXPECT_FALSE(accepted("{\"a\":1}\0x"s));
  EXPECT_FALSE(accepted("{\"a\":\"\0\"}"s));
  EXPECT_FALSE(accepted("\0"s));
}

TEST(JsonRequest, RefusesOtherJson) {
  for (const char* text :
       {"1", "\"a\"", "null", "[]", "[{}]", R"({"a":[]})", R"({"a":{}})", R"({"a":1,"b":[1]})"})
    EXPECT_FALSE(accepted(text)) << text;
  EXPECT_TRUE(accepted(members(64)));
  EXPECT_FALSE(accepted(members(65)));
}

TEST(JsonRequest, TheLastOfSeveralMembersOfOneNameCounts) {
  Received request(R"({"a":"first","b":1,"a":"last","b":"text","\u0063":"c"})");
  EXPECT_EQ(request->text("a"), "last");
  expect_bad_input([&] { request->number("b"); });
  EXPECT_EQ(request->text("c"), "c");
  EXPECT_TRUE(request->contains("b"));
  EXPECT_FALSE(request->contains("d"));
}

TEST(JsonRequest, AMissingMemberOrOneOfAnotherTypeIsBadInput) {
  Received request(R"({"text":"Zg==","number":5,"real":5.0,"bool":true,"null":null,"bad":"Zg="})");
  for (const char* name : {"missing", "number", "real", "bool", "null"}) {
    expect_bad_input([&] { request->text(name); });
    expect_bad_input([&] { request->container_name(name); });
    expect_bad_input([&] { request->pin(name); });
    expect_bad_input([&] { request->bytes(name); });
    expect_bad_input([&] { request->base64_pin(name); });
  }
  for (const char* name : {"missing", "text", "real", "bool", "null"})
    expect_bad_input([&] { request->number(name); });
  expect_bad_input([&] { request->bytes("bad"); });
  EXPECT_EQ(request->text("bad"), "Zg=");
}

TEST(JsonRequest, NumbersHave32BitsAndMayBeSigned) {
  Received request(
      R"({"max":4294967295,"above":4294967296,"min":-2147483648,"below":-2147483649,"minus":-1,"zero":-0,)"
      R"("huge":18446744073709551615,"beyond":18446744073709551616})");
  EXPECT_EQ(request->number("max"), 0xFFFFFFFFu);
  EXPECT_EQ(request->number("min"), 0x80000000u);
  EXPECT_EQ(request->number("minus"), 0xFFFFFFFFu);
  EXPECT_EQ(request->number("zero"), 0u);
  for (const char* name : {"above", "below", "huge", "beyond"})
    expect_bad_input([&] { request->number(name); });
  EXPECT_EQ(request->integer("below"), -2147483649);
  EXPECT_EQ(request->integer("huge"), INT64_MAX);
  EXPECT_EQ(request->integer("beyond"), std::nullopt);
  EXPECT_EQ(request->integer("missing"), std::nullopt);
}

__extension__ using Wide = __int128;

std::string decimal(Wide value) {
  std::string digits;
  for (Wide rest = value < 0 ? -value : value; rest > 0 || digits.empty(); rest /= 10)
    digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(rest % 10)));
  return value < 0 ? "-" + digits : digits;
}

void expect_number(Wide value) {
  const std::string text = decimal(value);
  SCOPED_TRACE(text);
  Received request("{\"n\":" + text + ",\"real\":" + text + ".0,\"power\":" + text + "e0}");
  std::optional<int64_t> integer;
  if (value >= INT64_MIN && value <= UINT64_MAX)
    integer = static_cast<int64_t>(std::min<Wide>(value, INT64_MAX));
  EXPECT_EQ(request->integer("n"), integer);
  if (value >= INT32_MIN && value <= UINT32_MAX) {
    EXPECT_EQ(request->number("n"), static_cast<uint32_t>(value));
  } else {
    expect_bad_input([&] { request->number("n"); });
  }
  for (const char* real : {"real", "power"}) {
    EXPECT_EQ(request->integer(real), std::nullopt);
    expect_bad_input([&] { request->number(real); });
  }
}

TEST(JsonRequest, NumbersAroundEachPowerOfTwoAndRandomOnes) {
  std::mt19937_64 dice(20260101);
  for (int bits = 0; bits <= 70; ++bits) {
    const Wide power = Wide{1} << bits;
    for (int difference = -2; difference <= 2; ++difference) {
      expect_number(power + difference);
      expect_number(-power + difference);
    }
    for (int turn = 0; turn < 20; ++turn) {
      const Wide number = power + static_cast<Wide>(dice()) % power;
      expect_number(number);
      expect_number(-number);
    }
  }
}

TEST(JsonRequest, EscapesAreResolved) {
  Received request(R"({"a":"\u53e3\ud83d\ude00\/\b\f\n\r\t\\\"","b":"plain" , "c":"Zm9v\/\/\/\/\r\n"})");
  EXPECT_EQ(request->text("a"), "口😀/\b\f\n\r\t\\\"");
  EXPECT_EQ(request->text("b"), "plain");
  EXPECT_EQ(as_text(request->bytes("c")), "foo\xFF\xFF\xFF");
}

TEST(JsonRequest, BytesAreDecodedInPlace) {
  for (const size_t size : {0, 1, 2, 3, 47, 48, 49, 100000}) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i * 7);
    Received request("{\"before\":\"b\",\"data\":\"" + base64_encode(bytes) + "\",\"after\":\"a\"}");
    EXPECT_EQ(copy_of(request->bytes("data")), bytes);
    EXPECT_EQ(request->text("before"), "b");
    EXPECT_EQ(request->text("after"), "a");
    expect_bad_input([&] { request->text("data"); });
  }
}

TEST(JsonRequest, EachLiteralMayBeInGbk) {
  Received request(
      "{\"utf8\":\"口令\",\"gbk\":\"\xBF\xDA\xC1\xEE\",\"slash\":\"\xD5\x5C\",\"data\":\"Zm9v\"}");
  EXPECT_EQ(request->text("utf8"), "口令");
  EXPECT_EQ(request->text("gbk"), "口令");
  EXPECT_EQ(request->text("slash"), "誠");
  EXPECT_EQ(as_text(request->bytes("data")), "foo");
}

}  // namespace
}  // namespace velm::token

// Tests names and PINs in UTF-8 and GBK, alone and in requests.
#include "softtoken/service/received_text.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "softtoken/crypto/base64.h"
#include "softtoken/service/dispatch.h"
#include "softtoken/tests/store/temporary_store.h"

namespace velm::token {
namespace {

constexpr std::string_view kDefaultPin = "12345678";

// Text in both encodings.
struct Text {
  std::string utf8;
  std::string gbk;
};
const Text kName{"演示", "\xD1\xDD\xCA\xBE"};
const Text kPin{"口令1234",
                "\xBF\xDA\xC1\xEE"
                "1234"};
// The second byte of the last GBK character is a backslash.
const Text kBackslash{"忠誠", "\xD6\xD2\xD5\x5C"};
// The GBK form is valid UTF-8 too, for another text.
const Text kAmbiguous{"模", "\xC4\xA3"};
const std::string kAmbiguousInUtf8 = "ģ";

std::string converted(std::string_view json) { return std::string(std::string_view(utf8_json(json))); }

TEST(Utf8Json, EachLiteralHasItsOwnEncoding) {
  for (const std::string& first : {kName.utf8, kName.gbk}) {
    for (const std::string& second : {kPin.utf8, kPin.gbk}) {
      EXPECT_EQ(converted(R"({"a":")" + first + R"(","b":")" + second + R"(","c":1})"),
                R"({"a":")" + kName.utf8 + R"(","b":")" + kPin.utf8 + R"(","c":1})");
    }
  }
}

TEST(Utf8Json, ABackslashCanBeTheSecondByteOfACharacter) {
  EXPECT_EQ(converted("[\"" + kBackslash.gbk + "\",\"" + kBackslash.gbk + "x\"]"),
            "[\"" + kBackslash.utf8 + "\",\"" + kBackslash.utf8 + "x\"]");
}

TEST(Utf8Json, EscapesStayAsTheyAre) {
  for (const char* json :
       {R"(["\"","\\","\u53E3\n"])", R"(["口\"令\\"])", "", " ", "\"", "\"a", "\"a\\", "a\\\"b\""})
    EXPECT_EQ(converted(json), json);
  EXPECT_EQ(converted("[\"\\\"" + kName.gbk + "\\\"\\\\\"]"), "[\"\\\"" + kName.utf8 + "\\\"\\\\\"]");
}

TEST(Utf8Json, ALiteralInNeitherEncodingStaysAsItIs) {
  const std::string neither = "\"\xFF\",\"\xD1\"";
  EXPECT_EQ(converted(neither + ",\"" + kName.gbk + "\""), neither + ",\"" + kName.utf8 + "\"");
}

// In UTF-8 this is one literal up to a malformed byte at the end; in GBK it is many literals. Searching for
// that byte once for each of them would take minutes.
TEST(Utf8Json, LiteralsBeforeAMalformedByteAreReadInLinearTime) {
  const std::string gbk = "\xE4\xBD\xA0\x5C", utf8 = "浣燶";
  std::string json, expected;
  for (int i = 0; i < 100'000; ++i) {
    json += '"' + gbk;
    expected += '"' + (i % 2 == 0 ? utf8 : gbk);
  }
  EXPECT_EQ(converted(json + "\"\xFF"), expected + "\"\xFF");
}

TEST(ReceivedText, NamesAndPinsAreConverted) {
  for (const std::string& name : {kName.utf8, kName.gbk}) EXPECT_EQ(read_name(name).utf8, kName.utf8);
  for (const std::string& pin : {kPin.utf8, kPin.gbk}) {
    EXPECT_EQ(as_text(read_pin(as_bytes(pin)).utf8), kPin.utf8);
    EXPECT_EQ(read_pin(as_bytes(pin)).sent_size, pin.size());
  }
  EXPECT_EQ(read_name(kAmbiguous.gbk).utf8, kAmbiguousInUtf8);
  EXPECT_EQ(read_name(kAmbiguous.gbk).second_reading, kAmbiguous.utf8);
  EXPECT_EQ(read_name("plain").second_reading, "");
  EXPECT_EQ(read_name("\xC1\xAA\xCD\xA8").utf8, "联通") << "an overlong form is not UTF-8";
}

class RequestText : public testing::Test {
 protected:
  void add(const std::string& name, std::string_view pin = kDefaultPin) {
    service.token.add_container({.name = name}, as_bytes(pin));
  }

  std::string code_of_call(const std::string& request) {
    RequestBody body(request);
    return nlohmann::json::parse(answer_json(service, body).body)["ErrorCode"];
  }

  // Writes user data, for which the PIN is sent as text.
  std::string write(const std::string& name, const std::string& pin) {
    return code_of_call(R"({"funcid":29,"ContainerName":")" + name + R"(","Pin":")" + pin +
                        R"(","FileType":1,"FileIndex":1,"Offset":0,"WriteData":"eA=="})");
  }

  std::string login(const std::string& name, std::string_view pin) {
    return code_of_call(R"({"funcid":7,"UserName":")" + name + R"(","PassWd":")" +
                        base64_encode(as_bytes(pin)) + R"("})");
  }

  std::string change_pin(const std::string& name, std::string_view old_pin, std::string_view new_pin) {
    return code_of_call(R"({"funcid":9,"ContainerName":")" + name + R"(","OldPassWd":")" +
                        base64_encode(as_bytes(old_pin)) + R"(","NewPassWd":")" +
                        base64_encode(as_bytes(new_pin)) + R"("})");
  }

  TemporaryStore store;
  Service service{store.file()};
};

TEST_F(RequestText, NameAndPinOfARequestEachHaveAnEncoding) {
  add(kName.utf8, kPin.utf8);
  for (const std::string& name : {kName.utf8, kName.gbk}) {
    for (const std::string& pin : {kPin.utf8, kPin.gbk}) {
      EXPECT_EQ(write(name, pin), "0");
      EXPECT_EQ(login(name, pin), "0");
    }
  }
}

TEST_F(RequestText, ANameMayEndInABackslashByte) {
  add(kBackslash.utf8);
  EXPECT_EQ(write(kBackslash.gbk, std::string(kDefaultPin)), "0");
}

TEST_F(RequestText, AGbkNameThatIsAlsoUtf8FindsItsContainer) {
  add(kAmbiguous.utf8, kPin.utf8);
  EXPECT_EQ(write(kAmbiguous.gbk, kPin.gbk), "0");
  EXPECT_EQ(login(kAmbiguous.gbk, kPin.gbk), "0");
  add(kAmbiguousInUtf8);
  EXPECT_EQ(login(kAmbiguous.gbk, kPin.gbk), "B000426") << "now the UTF-8 reading names a container";
  EXPECT_EQ(login(kAmbiguous.gbk, kDefaultPin), "0");
  EXPECT_EQ(login(kAmbiguous.utf8, kPin.utf8), "0");
}

TEST_F(RequestText, APinIsTheSameInUtf8AndInGbk) {
  add("A");
  EXPECT_EQ(change_pin("A", kDefaultPin, kPin.gbk), "0");
  EXPECT_EQ(login("A", kPin.utf8), "0");
  EXPECT_EQ(login("A", kPin.gbk), "0");
  EXPECT_EQ(change_pin("A", kPin.utf8, kDefaultPin), "0");
  add("B", kPin.utf8);
  EXPECT_EQ(login("B", kPin.gbk), "0");
}

TEST_F(RequestText, ThePinLimitAppliesToTheBytesSent) {
  add("A");
  Text longest{"1", "1"};
  for (int i = 0; i < 15; ++i) {
    longest.utf8 += "口";
    longest.gbk += "\xBF\xDA";
  }
  EXPECT_EQ(change_pin("A", kDefaultPin, longest.utf8), "B000201");
  EXPECT_EQ(change_pin("A", kDefaultPin, longest.gbk + "1"), "B000201");
  EXPECT_EQ(change_pin("A", kDefaultPin, longest.gbk), "0");
  EXPECT_EQ(login("A", longest.utf8), "0");
}

}  // namespace
}  // namespace velm::token

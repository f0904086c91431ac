// Shows how the modules handle valid and invalid answers of the local service.
#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>

#include "softtoken/crypto/base64.h"
#include "softtoken/providers/saf/http_post.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/with_scripted_server.h"

namespace velm::token {
namespace {

constexpr char kContainer[] = "C1";
constexpr char kUntouched[] = "untouched";

/** A service that sends the same answer to every request. */
class ScriptedService : public WithScriptedServer {
 protected:
  ScriptedService() : WithScriptedServer("token_client_test.dat") {}

  void SetUp() override {
    const auto script = [this](const std::string&, const std::string& body) {
      ++requests_;
      return next_ ? next_(body) : answer_;
    };
    serve(script, {"service_address"}, settings());
  }
  virtual std::string settings() const { return {}; }

  void answer(std::string text, unsigned status = 200) {
    answer_ = {.body = std::move(text), .content_type = "application/json", .status = status};
  }
  void answer_each(std::function<std::string(const std::string& body)> next) {
    next_ = [next = std::move(next)](const std::string& body) -> ScriptedAnswer {
      return {.body = next(body), .content_type = "application/json"};
    };
  }
  void answer_of_length(size_t length) { answer(std::string(length, ' ')); }
  int requests() const { return requests_; }

  uint32_t list_devices() {
    uint32_t length = 0;
    return SAF_Ext_EnumDevice(application(), nullptr, &length);
  }
  uint32_t file_attributes() {
    size_ = read_rights_ = write_rights_ = 1;
    return SAF_Ext_GetFileAttribute(application(), kContainer, "file", &size_, &read_rights_, &write_rights_);
  }
  uint32_t open_envelope(ByteView envelope) {
    opened_ = kUntouched;
    opened_length_ = static_cast<uint32_t>(opened_.size());
    return SAF_Ext_CMS_DecodeEnvelopedData(application(), kContainer, sizeof kContainer - 1, envelope.data(),
                                           static_cast<uint32_t>(envelope.size()),
                                           reinterpret_cast<uint8_t*>(opened_.data()), &opened_length_);
  }

  uint32_t size_ = 0, read_rights_ = 0, write_rights_ = 0;
  std::string opened_;
  uint32_t opened_length_ = 0;

 private:
  ScriptedAnswer answer_;
  std::function<ScriptedAnswer(const std::string& body)> next_;
  std::atomic<int> requests_ = 0;
};

// The container may be replaced between the two requests of this function.
TEST_F(ScriptedService, AFileSignatureFitsTheCertificateThatWasReadForIt) {
  write_file("token_client_test.bin", as_bytes("content"));
  const Signer& sm2 = sm2_signer();
  const Signer& rsa = rsa_2048_signer();
  const Signer other_sm2(KeyKind::sm2, generate_sm2_key());
  const Signer other_rsa(KeyKind::rsa, generate_rsa_key(2048));
  const struct {
    const Signer& named;
    const Signer& used;
    DigestId digest;
    uint32_t code;
  } cases[] = {{sm2, sm2, DigestId::sm3, kSafSuccess},
               {sm2, other_sm2, DigestId::sm3, kSafKeyMismatch},
               {rsa, rsa, DigestId::sha256, kSafSuccess},
               {rsa, other_rsa, DigestId::sha256, kSafKeyMismatch}};
  for (const auto& [named, used, digest, expected] : cases) {
    answer_each([&](const std::string& body) {
      const std::string_view mark = R"("hashedData":")";
      const size_t at = body.find(mark);
      if (at == std::string::npos)
        return R"({"ErrorCode":"0","Result":{"UserCert":")" + base64_encode(named.certificate) + R"("}})";
      const size_t from = at + mark.size();
      const Bytes value = base64_decode(body.substr(from, body.find('"', from) - from)).value();
      return R"({"ErrorCode":"0","Result":")" + base64_encode(sign_hash(used.key.get(), digest, value)) +
             R"("})";
    });
    Bytes signature(1024);
    uint32_t length = size_of(signature);
    EXPECT_EQ(
        SAF_Ext_SignFile(application(), kContainer, sizeof kContainer - 1, static_cast<uint32_t>(digest),
                         nullptr, 0, "token_client_test.bin", signature.data(), &length),
        expected);
  }
  std::remove("token_client_test.bin");
}

TEST_F(ScriptedService, AStatusOtherThan200IsAFailedRequest) {
  for (const unsigned status : {201u, 404u, 500u}) {
    answer(R"({"ErrorCode":"0","Result":[]})", status);
    EXPECT_EQ(list_devices(), kSafHttpFailed) << status;
  }
  answer(R"({"ErrorCode":"0","Result":[]})");
  EXPECT_EQ(list_devices(), kSafSuccess);
}

TEST_F(ScriptedService, AnAnswerIsAnObjectWithACodeInHexadecimal) {
  for (const char* text : {"", "null", "[]", "7", R"("0")", "{}", R"({"ErrorCode":0})",
                           R"({"ErrorCode":null})", R"({"ErrorCode":""})", R"({"ErrorCode":"0x0"})",
                           R"({"ErrorCode":"-1"})", R"({"ErrorCode":"100000000"})", R"({"ErrorCode":"0 "})",
                           R"({"ErrorCode":"0")", "{\"ErrorCode\":\"\xff\"}"}) {
    answer(text);
    EXPECT_EQ(list_devices(), kSafJsonFailed) << text;
  }
}

TEST_F(ScriptedService, NamesAreTexts) {
  for (const char* result : {"[1]", "[null]", R"(["a",{}])", "7", R"({"a":1})"}) {
    answer(std::string(R"({"ErrorCode":"0","Result":)") + result + "}");
    EXPECT_EQ(list_devices(), kSafJsonFailed) << result;
  }
}

TEST_F(ScriptedService, NumbersHave32Bits) {
  const auto answered_size = [&](const char* size) {
    answer(std::string(R"({"ErrorCode":"0","Result":{"size":)") + size +
           R"(,"readRights":2,"writeRights":3}})");
    return file_attributes();
  };
  EXPECT_EQ(answered_size("4294967295"), kSafSuccess);
  EXPECT_EQ(size_, UINT32_MAX);
  EXPECT_EQ(read_rights_, 2u);
  EXPECT_EQ(write_rights_, 3u);
  for (const char* size :
       {"4294967296", "18446744073709551616", "-1", "1.5", R"("1")", "true", "null", "[1]"}) {
    EXPECT_EQ(answered_size(size), kSafJsonFailed) << size;
    EXPECT_EQ(size_, 1u) << size;
    EXPECT_EQ(read_rights_, 1u) << size;
  }
  for (const char* result : {R"({"size":7,"readRights":2})", R"({"size":7,"readRights":2,"writeRights":"3"})",
                             R"({"size":7,"writeRights":3})", R"({"readRights":2,"writeRights":3})"}) {
    answer(std::string(R"({"ErrorCode":"0","Result":)") + result + "}");
    EXPECT_EQ(file_attributes(), kSafJsonFailed) << result;
    EXPECT_EQ(size_ + read_rights_ + write_rights_, 3u) << "an output was written: " << result;
  }
  answer(R"({"ErrorCode":"0"})");
  EXPECT_EQ(file_attributes(), kSafJsonFailed);
}

TEST_F(ScriptedService, AFrameIsAsLongAsItSays) {
  using namespace std::string_literals;
  const Bytes envelope(10, 'e');
  answer("\0\0\0\0\4\0\0\0data"s);
  EXPECT_EQ(open_envelope(envelope), kSafSuccess);
  EXPECT_EQ(opened_.substr(0, opened_length_), "data");
  for (const std::string& frame :
       {""s, "\0\0\0"s, "\0\0\0\0"s, "\0\0\0\0\4\0\0"s, "\0\0\0\0\4\0\0\0dat"s, "\0\0\0\0\4\0\0\0data!"s,
        "\0\0\0\0\xff\xff\xff\xff"
        "data"s,
        "\0\0\0\0\xf8\xff\xff\xff"s}) {
    answer(frame);
    EXPECT_EQ(open_envelope(envelope), kSafServerFailed) << frame.size();
    EXPECT_EQ(opened_, kUntouched) << frame.size();
  }
}

TEST_F(ScriptedService, AnAnswerAboveTheBoundIsAFailedRequest) {
  answer_of_length(kMaxHttpBody);
  EXPECT_EQ(list_devices(), kSafJsonFailed) << "blanks are no answer, but they are taken";
  answer_of_length(kMaxHttpBody + 1);
  EXPECT_EQ(list_devices(), kSafHttpFailed);
}

TEST_F(ScriptedService, ARequestAboveTheBoundIsNotSent) {
  const Bytes envelope(kMaxHttpBody + 1, 'e');
  EXPECT_EQ(open_envelope(envelope), kSafBadLength);
  EXPECT_EQ(requests(), 0);
}

TEST_F(ScriptedService, NothingFollowsAnAnswer) {
  for (const std::string behind : {"x", "{}", "]", ",", "\"\""}) {
    answer(R"({"ErrorCode":"0","Result":[]})" + behind);
    EXPECT_EQ(list_devices(), kSafJsonFailed) << behind;
  }
  answer("{\"ErrorCode\":\"0\",\"Result\":[]}\r\n");
  EXPECT_EQ(list_devices(), kSafSuccess);
}

TEST_F(ScriptedService, ASizeQuerySignsNothing) {
  write_file("token_client_test.bin", as_bytes("content"));
  std::atomic<bool> signed_hash = false;
  answer_each([&](const std::string& body) {
    if (body.find("hashedData") != std::string::npos) signed_hash = true;
    return R"({"ErrorCode":"0","Result":{"UserCert":")" + base64_encode(sm2_signer().certificate) + R"("}})";
  });
  uint32_t length = 0;
  EXPECT_EQ(
      SAF_Ext_SignFile(application(), kContainer, sizeof kContainer - 1, static_cast<uint32_t>(DigestId::sm3),
                       nullptr, 0, "token_client_test.bin", nullptr, &length),
      kSafSuccess);
  EXPECT_FALSE(signed_hash);
  std::remove("token_client_test.bin");
}

class PatientApplication : public ScriptedService {
  std::string settings() const override { return "connect_timeout_ms = 100\nanswer_timeout_ms = 20000\n"; }
};

// The local service may wait for its user, once the connection exists.
TEST_F(PatientApplication, WaitsForAnAnswerLongerThanForAConnection) {
  answer_each([](const std::string&) {
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    return R"({"ErrorCode":"0","Result":[]})";
  });
  EXPECT_EQ(list_devices(), kSafSuccess);
}

}  // namespace
}  // namespace velm::token

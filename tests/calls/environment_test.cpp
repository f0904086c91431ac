// SOF_Initialize, SOF_Finalize, SOF_GetVersion and SOF_GenRandom, and with them each step of a JSON exchange.
#include <cstring>

#include "support/allocation_faults.h"
#include "support/base64.h"
#include "support/client_test.h"
#include "support/guarded_buffer.h"
#include "support/settled_memory.h"

using namespace velm::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Environment : public ClientTest {
 protected:
  std::vector<std::string> entry_lines() {
    auto lines = log.messages(Level::kInformation);
    lines.erase(lines.begin());  // written by the load
    return lines;
  }
};

// A JSON text of exactly `size` bytes that reports success.
std::string success_of_size(size_t size) {
  const std::string text = R"({"ErrorCode":"0"})";
  return text + std::string(size - text.size(), ' ');
}

TEST_F(Environment, InitializeAndFinalizeSendTheirFunctionNumbers) {
  service.answers(json(R"({"ErrorCode":"0"})"), json(R"({"ErrorCode":"0"})"));
  EXPECT_EQ(library.SOF_Initialize(), SOR_OK);
  EXPECT_EQ(service.take_request().body, R"({"funcid":58})");
  EXPECT_EQ(library.SOF_Finalize(), SOR_OK);
  EXPECT_EQ(service.take_request().body, R"({"funcid":38})");
  EXPECT_THAT(entry_lines(), ElementsAre("SOF_Initialize", "SOF_Finalize"));
  EXPECT_THAT(log.errors(), IsEmpty());
}

TEST_F(Environment, ServiceCodeIsTheResult) {
  service.answers(json(R"({"ErrorCode":"B000438"})"), json(R"({"ErrorCode":"FFFFFFFF"})"));
  EXPECT_EQ(library.SOF_Initialize(), 0x0B000438u);
  EXPECT_EQ(library.SOF_Finalize(), 0x7FFFFFFFu);
  EXPECT_THAT(log.errors(), IsEmpty());
}

// An answer that is not a success, with the result code and the only log line ("": none).
struct BadAnswer {
  const char* body;
  uint32_t code;
  const char* line;
};

const BadAnswer kBadAnswers[] = {
    {"", 0x0B000446, "->cJSON_Parse []"},
    {"no json", 0x0B000446, "->cJSON_Parse [no json]"},
    {R"({"ErrorCode":"0")", 0x0B000446, R"(->cJSON_Parse [{"ErrorCode":"0"])"},
    {"{}", 0x0B000001, ""},
    {"[]", 0x0B000001, ""},
    {"null", 0x0B000001, ""},
    {R"({"ErrorCode":0})", 0x0B000001, ""},
    {R"({"ErrorCode":null})", 0x0B000001, ""},
    {R"({"ErrorCode":"b000403"})", 0x0B000403, ""},
    {R"({"ErrorCode":"0x0B000403"})", 0x0B000403, ""},
    {R"({"ErrorCode":"  +B000403 "})", 0x0B000403, ""},
    {R"({"ErrorCode":"FFFFFFFF"})", 0x7FFFFFFF, ""},
    {R"({"ErrorCode":"-1"})", 0xFFFFFFFF, ""},
    {R"({"ErrorCode":"-FFFFFFFF"})", 0x80000000, ""},
};

TEST_F(Environment, EveryBadAnswerHasItsCodeAndLogLine) {
  GuardedBuffer version(128), random(16);
  const std::pair<std::string, std::function<uint32_t()>> calls[] = {
      {"SOF_Initialize", [&] { return library.SOF_Initialize(); }},
      {"SOF_Finalize", [&] { return library.SOF_Finalize(); }},
      {"SOF_GetVersion", [&] { return library.SOF_GetVersion(version.text()); }},
      {"SOF_GenRandom", [&] { return library.SOF_GenRandom(16, random.data()); }},
  };
  for (const auto& [name, call] : calls) {
    for (const BadAnswer& answer : kBadAnswers) {
      LogReader::clear();
      service.answers(json(answer.body));
      EXPECT_EQ(call(), answer.code) << name << " " << answer.body;
      if (answer.line[0] != '\0') {
        EXPECT_THAT(log.errors(), ElementsAre(name + answer.line));
      } else {
        EXPECT_THAT(log.errors(), IsEmpty()) << answer.body;
      }
    }
  }
  EXPECT_TRUE(version.untouched());
  EXPECT_TRUE(random.untouched());
}

TEST_F(Environment, AnswersAreAcceptedUpToTheCapacity) {
  char version[128];
  const std::pair<std::function<uint32_t()>, const char*> calls[] = {
      {[&] { return library.SOF_Initialize(); }, "SOF_Initialize->cJSON_Parse []"},
      {[&] { return library.SOF_Finalize(); }, "SOF_Finalize->cJSON_Parse []"},
      {[&] { return library.SOF_GetVersion(version); }, "SOF_GetVersion->cJSON_Parse []"},
  };
  for (const auto& [call, line] : calls) {
    LogReader::clear();
    service.answers(json(success_of_size(128)), json(success_of_size(129)));
    EXPECT_EQ(call(), SOR_OK);
    EXPECT_EQ(call(), SOR_JSONPARSEERR);
    EXPECT_THAT(log.errors(), ElementsAre(line));
  }
}

TEST_F(Environment, GetVersionReturnsTheTextOrADefault) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"ErrorCode":"0","Result":{"Version":"3.1.4"}})", "3.1.4"},
      {R"({"ErrorCode":"0","Result":{"Version":""}})", ""},
      {R"({"ErrorCode":"0","Result":{"Version":7}})", "0.0.0"},
      {R"({"ErrorCode":"0","Result":{}})", "0.0.0"},
      {R"({"ErrorCode":"0","Result":"3.1.4"})", "0.0.0"},
      {R"({"ErrorCode":"0"})", "0.0.0"},
  };
  for (const auto& [answer, version] : cases) {
    service.answers(json(answer));
    GuardedBuffer buffer(std::strlen(version) + 1);
    EXPECT_EQ(library.SOF_GetVersion(buffer.text()), SOR_OK);
    EXPECT_STREQ(buffer.text(), version);
    EXPECT_EQ(service.take_request().body, R"({"funcid":0})");
  }
  EXPECT_THAT(entry_lines(), IsEmpty());
}

TEST_F(Environment, GetVersionAcceptsANullBuffer) {
  service.answers(json(R"({"ErrorCode":"0","Result":{"Version":"3.1.4"}})"));
  EXPECT_EQ(library.SOF_GetVersion(nullptr), SOR_OK);
}

TEST_F(Environment, GenRandomDeliversTheDecodedBytes) {
  const std::string random = "0123456789abcdef";
  service.answers(json(R"({"ErrorCode":"0","Result":{"RandomData":")" + base64(random) + R"("}})"));
  GuardedBuffer buffer(16);
  EXPECT_EQ(library.SOF_GenRandom(16, buffer.data()), SOR_OK);
  EXPECT_EQ(buffer.bytes(), random);
  EXPECT_EQ(service.take_request().body, R"({"funcid":26,"Len":16})");
  EXPECT_THAT(entry_lines(), ElementsAre("SOF_GenRandom uRandomLen=16"));
}

TEST_F(Environment, GenRandomRefusesANullBufferWithoutARequest) {
  EXPECT_EQ(library.SOF_GenRandom(16, nullptr), 0x0B000403u);
  EXPECT_THAT(entry_lines(), ElementsAre("SOF_GenRandom uRandomLen=16"));
  EXPECT_THAT(log.errors(), ElementsAre("pRandomData is null!"));
  EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(Environment, GenRandomAcceptsAnswersUpToItsCapacity) {
  const std::string success = R"({"ErrorCode":"0","Result":{"RandomData":"AAAAAAAAAAAAAAAAAAAAAA=="}})";
  const auto padded = [&](size_t size) { return json(success + std::string(size - success.size(), ' ')); };
  service.answers(padded(288), padded(289));
  GuardedBuffer buffer(16);
  EXPECT_EQ(library.SOF_GenRandom(16, buffer.data()), SOR_OK);
  EXPECT_EQ(library.SOF_GenRandom(16, buffer.data()), SOR_JSONPARSEERR);
  EXPECT_THAT(log.errors(), ElementsAre("SOF_GenRandom->cJSON_Parse []"));
}

TEST_F(Environment, GenRandomZeroesMissingBytes) {
  const std::pair<std::string, std::string> cases[] = {
      {R"({"ErrorCode":"0","Result":{"RandomData":"YWJj"}})", std::string("abc\0\0\0\0\0", 8)},
      {R"({"ErrorCode":"0","Result":{"RandomData":""}})", std::string(8, '\0')},
      {R"({"ErrorCode":"0","Result":{"RandomData":1}})", std::string(8, '\0')},
      {R"({"ErrorCode":"0"})", std::string(8, '\0')},
  };
  for (const auto& [answer, bytes] : cases) {
    service.answers(json(answer));
    GuardedBuffer buffer(8);
    EXPECT_EQ(library.SOF_GenRandom(8, buffer.data()), SOR_OK);
    EXPECT_EQ(buffer.bytes(), bytes) << answer;
  }
}

TEST_F(Environment, GenRandomIsZeroWithoutDecoderOutput) {
  STANDIN(VELM_Openssl_Base64Decode).plays([](auto, auto, auto, const uint32_t* length) {
    EXPECT_EQ(*length, 0u);
    return 0;
  });
  service.answers(json(R"({"ErrorCode":"0","Result":{"RandomData":"YWJj"}})"));
  GuardedBuffer buffer(8);
  EXPECT_EQ(library.SOF_GenRandom(8, buffer.data()), SOR_OK);
  EXPECT_EQ(buffer.bytes(), std::string(8, '\0'));
}

TEST_F(Environment, GenRandomIgnoresExcessBytes) {
  service.answers(
      json(R"({"ErrorCode":"0","Result":{"RandomData":")" + base64(std::string(100, 'r')) + R"("}})"));
  GuardedBuffer buffer(2);
  EXPECT_EQ(library.SOF_GenRandom(2, buffer.data()), SOR_OK);
  EXPECT_EQ(buffer.bytes(), "rr");
}

TEST_F(Environment, GenRandomAcceptsLengthZero) {
  service.answers(json(R"({"ErrorCode":"0","Result":{"RandomData":""}})"));
  GuardedBuffer buffer(1);
  EXPECT_EQ(library.SOF_GenRandom(0, buffer.data()), SOR_OK);
  EXPECT_TRUE(buffer.untouched());
  EXPECT_EQ(service.take_request().body, R"({"funcid":26,"Len":0})");
}

TEST_F(Environment, GenRandomRefusesInvalidBase64) {
  service.answers(json(R"({"ErrorCode":"0","Result":{"RandomData":"%%%"}})"));
  GuardedBuffer buffer(16);
  EXPECT_EQ(library.SOF_GenRandom(16, buffer.data()), 0x0B010005u);
  EXPECT_THAT(log.errors(), ElementsAre("SOF_GenRandom->xbase64::decode [%%%]"));
  EXPECT_TRUE(buffer.untouched());
}

TEST_F(Environment, GenRandomCapacityWrapsAt32BitsAndIsAtLeast256) {
  const auto failure_of_size = [](size_t size) {
    const std::string text = R"({"ErrorCode":"B000300"})";
    return json(text + std::string(size - text.size(), ' '));
  };
  GuardedBuffer buffer(1);
  for (uint32_t asked : {0xFFFFFFFFu, 0x80000000u}) {
    service.answers(failure_of_size(256), failure_of_size(257));
    EXPECT_EQ(library.SOF_GenRandom(asked, buffer.data()), 0x0B000300u);
    EXPECT_EQ(library.SOF_GenRandom(asked, buffer.data()), SOR_JSONPARSEERR);
  }
  EXPECT_TRUE(buffer.untouched());
}

// A thread allocates what it needs to report a failure before anything else.
TEST_F(Environment, FirstCallOfAThreadWithoutMemory) {
  const auto first_call_of_a_thread = [&] {
    uint32_t code = 0;
    std::thread([&] { code = library.SOF_GenRandom(1, nullptr); }).join();
    return code;
  };
  EXPECT_EQ(first_call_of_a_thread(), SOR_NULLPOINTERERR) << "warm-up: the first log line allocates, too";
  AllocationFaults memory(library.module());
  memory.fail_at(2);
  EXPECT_EQ(first_call_of_a_thread(), SOR_NULLPOINTERERR) << "the exception comes from the reserve";
  EXPECT_TRUE(memory.has_failed());
  for (const auto& [first_failing, expected] : {std::pair{1u, SOR_MEMORYERR}, {2u, SOR_NULLPOINTERERR}}) {
    memory.restart();
    memory.fail_from(first_failing);
    EXPECT_EQ(first_call_of_a_thread(), expected) << first_failing;
    EXPECT_TRUE(memory.has_failed());
    EXPECT_EQ(memory.outstanding(), 0u);
  }
}

TEST_F(Environment, EveryAllocationFromOneOnMayFail) {
  service.responds(
      [](const Request&) { return json(R"({"ErrorCode":"0","Result":{"RandomData":"AAAA"}})"); });
  settle_memory(library);
  AllocationFaults memory(library.module());
  uint8_t random[3];
  for (size_t nth = 1;; ++nth) {
    memory.restart();
    memory.fail_from(nth);
    const uint32_t code = library.SOF_GenRandom(3, random);
    if (!memory.has_failed()) break;
    EXPECT_TRUE(code == SOR_MEMORYERR || code == SOR_JSONPARSEERR) << nth << std::hex << code;
    EXPECT_EQ(memory.outstanding(), 0u) << nth;
  }
}

TEST_F(Environment, EachAllocationMayFail) {
  const std::string answer = R"({"ErrorCode":"0","Result":{"Version":"1","RandomData":"AAAA"}})";
  char version[128];
  uint8_t random[3];
  const std::function<uint32_t()> calls[] = {
      [&] { return library.SOF_Initialize(); },
      [&] { return library.SOF_Finalize(); },
      [&] { return library.SOF_GetVersion(version); },
      [&] { return library.SOF_GenRandom(3, random); },
  };
  service.responds([&](const Request&) { return json(answer); });
  settle_memory(library);
  AllocationFaults memory(library.module());
  for (const auto& call : calls) {
    memory.restart();
    EXPECT_EQ(call(), SOR_OK);
    EXPECT_EQ(memory.outstanding(), 0u);
    for (size_t nth = 1;; ++nth) {
      memory.restart();
      memory.fail_at(nth);
      const uint32_t code = call();
      if (!memory.has_failed()) break;
      // cJSON reports missing memory as a parse error. Without memory a log line is dropped silently.
      EXPECT_TRUE(code == SOR_MEMORYERR || code == SOR_JSONPARSEERR || code == SOR_OK)
          << nth << std::hex << code;
      EXPECT_EQ(memory.outstanding(), 0u) << nth;
    }
  }
}

}  // namespace

// Loading the library with fresh state, its log, and the fixture of most tests.
#include <gmock/gmock.h>

#include <fstream>

#include "support/client_test.h"
#include "support/program_folder.h"

namespace {

using namespace velm::test;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

using ClientFixture = ClientTest;

TEST_F(ClientFixture, ACallReachesTheServiceAndTheLog) {
  service.answers(json(R"({"ErrorCode":"B000403"})"));
  EXPECT_EQ(library.SOF_Initialize(), 0x0B000403u);
  EXPECT_EQ(service.take_request().body, R"({"funcid":58})");
  EXPECT_THAT(log.messages(Level::kInformation), ElementsAre("DllMain->Process attach.", "SOF_Initialize"));
  EXPECT_THAT(log.errors(), IsEmpty());
  EXPECT_THAT(standins.call_log(), IsEmpty());
}

TEST_F(ClientFixture, TheLibraryCallsTheStandIns) {
  service.answers(json(R"({"ErrorCode":"0","Result":{"RandomData":"AQIDBA=="}})"));
  uint8_t random[4];
  EXPECT_EQ(library.SOF_GenRandom(4, random), SOR_OK);
  EXPECT_EQ(bytes(random, 4), "\x01\x02\x03\x04");
  EXPECT_THAT(standins.call_log(), ElementsAre("VELM_Openssl_Base64Decode"));
}

TEST(ClientLibrary, ReloadHasFreshState) {
  const Standins standins;
  {
    ClientLibrary library;
    EXPECT_EQ(GetModuleHandleW(L"velm_sof_client.dll"), library.module());
    library.unload();
    EXPECT_EQ(GetModuleHandleW(L"velm_sof_client.dll"), nullptr);
  }
  const ClientLibrary again;
  EXPECT_EQ(GetModuleHandleW(L"velm_sof_client.dll"), again.module());
  EXPECT_TRUE(again.SOF_Initialize);
}

TEST(ClientLibrary, WithoutTheMarkerOnlyWarningsAndErrorsAreLogged) {
  const Standins standins;
  const ClientLibrary library;
  EXPECT_EQ(library.SOF_GenRandom(4, nullptr), SOR_NULLPOINTERERR);
  EXPECT_THAT(LogReader::messages(), ElementsAre("pRandomData is null!"));
}

TEST(ClientLibrary, CallsAnyOtherExport) {
  const Standins standins;
  const ClientLibrary library;
  const auto version = library.function<const char*()>("cJSON_Version");
  EXPECT_THAT(version(), StartsWith("1.7."));
  EXPECT_FALSE(library.function<int()>("no_such_function"));
}

TEST(LogReader, ParsesALine) {
  const Standins standins;
  const ClientLibrary library;
  library.SOF_GenRandom(4, nullptr);
  ASSERT_EQ(LogReader::entries().size(), 1u);
  const LogEntry entry = LogReader::entries()[0];
  EXPECT_EQ(entry.level, Level::kError);
  EXPECT_THAT(entry.time, testing::MatchesRegex("....-..-.. ..:..:..\\...."));
  EXPECT_EQ(entry.process, "support_test");
  EXPECT_EQ(entry.bitness, 64);
  EXPECT_EQ(entry.process_id, GetCurrentProcessId());
  EXPECT_EQ(entry.thread_id, GetCurrentThreadId());
  EXPECT_EQ(entry.source, "velm_sof_client");
  EXPECT_GT(entry.line, 0);
  EXPECT_EQ(entry.message, "pRandomData is null!");
  EXPECT_THAT(entry.raw, AllOf(StartsWith("[ERR|"), testing::EndsWith("] pRandomData is null!")));
  EXPECT_THAT(LogReader::lines(), ElementsAre(entry.raw));
}

TEST(LogReader, OtherLayoutsAndClear) {
  { const ClientLibrary library{Marker::kPresent}; }
  ASSERT_EQ(LogReader::files().size(), 1u);
  std::ofstream(LogReader::files()[0].c_str(), std::ios::app) << "pSetVal = 01 [1]\n[ERR|5] no prefix\n";
  EXPECT_THAT(LogReader::messages(Level::kNone), ElementsAre("pSetVal = 01 [1]", "[ERR|5] no prefix"));
  EXPECT_EQ(LogReader::messages().size(), 4u);
  LogReader::clear();
  EXPECT_THAT(LogReader::files(), IsEmpty());
  EXPECT_THAT(LogReader::lines(), IsEmpty());
}

TEST(MarkerPath, ExistsForTheLifetimeOfItsObject) {
  constexpr wchar_t kPath[] = L"c:\\velm_log";
  {
    const MarkerPath marker(Marker::kPresent);
    EXPECT_NE(GetFileAttributesW(kPath), INVALID_FILE_ATTRIBUTES);
  }
  EXPECT_EQ(GetFileAttributesW(kPath), INVALID_FILE_ATTRIBUTES);
}

}  // namespace

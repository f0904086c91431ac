// Loading and unloading.
#include <windows.h>

#include <gmock/gmock.h>

#include "support/client_library.h"
#include "support/import_patch.h"
#include "support/log_reader.h"
#include "support/standins.h"

using namespace velm::test;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

namespace {

class Lifecycle : public testing::Test {
 protected:
  Standins standins;
};

TEST_F(Lifecycle, LoadAndUnloadAreLoggedWithTheMarkerPath) {
  ClientLibrary library{Marker::kPresent};
  EXPECT_THAT(LogReader::messages(), ElementsAre("DllMain->Process attach."));
  library.unload();
  EXPECT_THAT(LogReader::messages(Level::kInformation),
              ElementsAre("DllMain->Process attach.", "DllMain->Process detach."));
}

TEST_F(Lifecycle, WithoutTheMarkerPathOnlyFailuresAreLogged) {
  ClientLibrary library;
  library.SOF_Initialize();  // no service is running
  library.unload();
  EXPECT_THAT(LogReader::messages(Level::kInformation), IsEmpty());
  EXPECT_THAT(LogReader::errors(), Contains("SOF_Initialize->post_json xrv = -57"));
}

TEST_F(Lifecycle, UnloadingWithoutProviderUseMakesNoProviderCall) {
  ClientLibrary library;
  library.unload();
  EXPECT_THAT(standins.call_log(), IsEmpty());
}

TEST_F(Lifecycle, LogLinesShowTheirSource) {
  ClientLibrary library{Marker::kPresent};
  library.SOF_Initialize();
  const auto entries = LogReader::entries();
  ASSERT_THAT(entries, SizeIs(4));
  EXPECT_EQ(entries[0].source, "dllmain");
  EXPECT_EQ(entries[1].source, "velm_sof_client");
  EXPECT_EQ(entries[1].message, "SOF_Initialize");
  EXPECT_EQ(entries[2].source, "http.h");
  EXPECT_EQ(entries[3].source, "velm_sof_client");
  for (const auto& entry : entries) {
    EXPECT_EQ(entry.process, "lifecycle_test");
    EXPECT_EQ(entry.bitness, 64);
    EXPECT_EQ(entry.process_id, GetCurrentProcessId());
    EXPECT_EQ(entry.thread_id, GetCurrentThreadId());
    EXPECT_GT(entry.line, 0);
  }
}

TEST_F(Lifecycle, TheLogDirectoriesAreCreatedAtLoad) {
  LogReader::clear();
  const std::wstring folder = LogReader::folder();
  RemoveDirectoryW(folder.c_str());
  ASSERT_EQ(GetFileAttributesW(folder.c_str()), INVALID_FILE_ATTRIBUTES);
  ClientLibrary library;
  EXPECT_NE(GetFileAttributesW(folder.c_str()), INVALID_FILE_ATTRIBUTES);
}

__time64_t days_from_now = 0;

__time64_t __cdecl moved_time(__time64_t* result) {
  const __time64_t now = _time64(nullptr) + days_from_now * 24 * 60 * 60;
  if (result) *result = now;
  return now;
}

TEST_F(Lifecycle, AProcessThatRunsPastMidnightKeepsItsFile) {
  ClientLibrary library{Marker::kPresent};
  days_from_now = 0;
  const ImportPatch clock(library.module(), "msvcrt.dll", "_time64", moved_time);
  library.SOF_Initialize();  // no service is running: load, call and transport have each logged
  const auto files = LogReader::files();
  const size_t lines = LogReader::lines().size();
  days_from_now = 1;
  library.SOF_Initialize();
  EXPECT_EQ(LogReader::files(), files);
  EXPECT_EQ(LogReader::lines().size(), 2 * lines - 1);  // the line of the load is written once
}

TEST_F(Lifecycle, DumpExpandsItsPathAtItsFirstLine) {
  ClientLibrary library{Marker::kPresent};
  days_from_now = 0;
  const ImportPatch clock(library.module(), "msvcrt.dll", "_time64", moved_time);
  library.SOF_Initialize();
  const size_t files = LogReader::files().size();
  const size_t lines = LogReader::lines().size();
  days_from_now = 1;
  const uint8_t value[] = {1, 2};
  library.SOF_Config(5, value, sizeof value);
  EXPECT_EQ(LogReader::files().size(), files + 1);
  auto messages = LogReader::messages();  // in the order of the files
  messages.erase(messages.begin(), messages.begin() + static_cast<ptrdiff_t>(lines));
  EXPECT_THAT(messages, ElementsAre("SOF_Config uiSetType=5 uiValLen=2", StartsWith("xhttp_request_w->"),
                                    "SOF_Config->xhttp::post xrv = -57", "pSetVal = 01 02 [2]"));
}

TEST_F(Lifecycle, CJsonIsExportedUnderItsOwnNames) {
  ClientLibrary library;
  const auto parse = library.function<void*(const char*)>("cJSON_Parse");
  const auto print = library.function<char*(const void*)>("cJSON_PrintUnformatted");
  const auto remove = library.function<void(void*)>("cJSON_Delete");
  const auto release = library.function<void(void*)>("cJSON_free");
  void* document = parse(R"({ "a" : [1, 2] })");
  ASSERT_NE(document, nullptr);
  char* text = print(document);
  EXPECT_STREQ(text, R"({"a":[1,2]})");
  release(text);
  remove(document);
}

}  // namespace

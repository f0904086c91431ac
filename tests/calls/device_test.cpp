// Device information, user list and device type.
#include <cstring>

#include "calls/service_case.h"
#include "support/client_test.h"
#include "support/import_patch.h"
#include "support/settled_memory.h"

using namespace velm::test;

namespace {

const std::string kLongName(300, 'n');

std::string information_request(const std::string& container, const std::string& type) {
  return R"({"funcid":13,"ContainerName":")" + container + R"(","Type":)" + type + "}";
}

Call information(const char* container, int32_t type) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
    return library.SOF_GetDeviceInfo(container, type, output, length);
  };
}

// The same call with the size of the caller's buffer, which must be unchanged if the call is refused.
Call information_of_size(uint32_t size) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
    uint32_t given = size;
    const uint32_t result = library.SOF_GetDeviceInfo("C1", 1, output, &given);
    if (given != size) *length = given;
    return result;
  };
}

ServiceCase information_case(const char* container, const std::string& logged, const std::string& sent,
                             const std::string& info) {
  return {"SOF_GetDeviceInfo",
          Form::kJson,
          256,
          "SOF_GetDeviceInfo pszContainerName=[" + logged + "] iInfoType=0x00000007",
          information_request(sent, "7"),
          R"({"DeviceInfo":")" + info + R"("})",
          info,
          size_of(info),
          information(container, 7)};
}

uint32_t list_users(const ClientLibrary& library, uint8_t* output, uint32_t* length) {
  return library.SOF_GetUserList(reinterpret_cast<char*>(output), length);
}

ServiceCase list_case(const std::string& names, const std::string& list) {
  return {"SOF_GetUserList",
          Form::kJson,
          2048,
          "SOF_GetUserList *pUserListLen=2863311530",
          R"({"funcid":5,"ReturnMethod":0})",
          names,
          list + '\0',
          size_of(list),
          list_users};
}

const std::vector<ServiceCase> kCalls{
    information_case("C1", "C1", "C1", "serial 0123"),
};

const std::vector<ServiceCase> kVariants{
    information_case(nullptr, "NULL", "(null)", "text"),
    information_case("", "", "", "text"),
    information_case(kLongName.c_str(), kLongName, kLongName, "text"),
    information_case(R"(C"1\)", R"(C"1\)", R"(C"1\)", "text"),
    information_case("C1", "C1", "C1", ""),
    information_case("C1", "C1", "C1", "\u8BBE\u5907"),
    information_case("C1", "C1", "C1", std::string(200, 'x')),
    {"SOF_GetDeviceInfo", Form::kJson, 256, "SOF_GetDeviceInfo pszContainerName=[C1] iInfoType=0xFFFFFFFF",
     information_request("C1", "-1"), R"({"DeviceInfo":7})", "", 0, information("C1", -1)},
    {"SOF_GetDeviceInfo", Form::kJson, 256, "SOF_GetDeviceInfo pszContainerName=[C1] iInfoType=0x00000001",
     information_request("C1", "1"), R"({"DeviceInfo":"text"})", "text", 4, information_of_size(256)},

    list_case(R"(["A","B"])", "A&&&B"),
    list_case(R"(["u1","u2","u3"])", "u1&&&u2&&&u3"),
    list_case(R"(["one"])", "one"),
    list_case(R"([""])", ""),
    list_case(R"(["",""])", "&&&"),
    list_case("[\"\u5F20\u4E09\",\"\u674E\u56DB\",\"x\"]", "\xD5\xC5\xC8\xFD&&&\xC0\xEE\xCB\xC4&&&x"),
    // UTF-8 characters of two bytes are converted, too.
    list_case("[\"\u03B1\",\"\u00D7\"]", "\xA6\xC1&&&\xA1\xC1"),
    // An item that is not text counts as empty.
    list_case(R"([1,"a",null,{"b":"c"},["d"]])", "&&&a&&&&&&&&&"),
    list_case("[7]", ""),
    list_case(R"({"first":"a","second":"b"})", "a&&&b"),
};

const std::vector<LocalCase> kLocalCalls{
    {"SOF_GetDeviceInfo pszContainerName=[C1] iInfoType=0x00000001", "pDeviceInfo is null!",
     SOR_NULLPOINTERERR, kUntouched, without_output(information("C1", 1))},
    {"SOF_GetDeviceInfo pszContainerName=[C1] iInfoType=0x00000001", "pDeviceInfoLen is null!",
     SOR_NULLPOINTERERR, kUntouched, without_length(information("C1", 1))},
    {"SOF_GetDeviceInfo pszContainerName=[NULL] iInfoType=0x80000000", "pDeviceInfo is null!",
     SOR_NULLPOINTERERR, kUntouched, without_outputs(information(nullptr, INT32_MIN))},
    {"SOF_GetDeviceInfo pszContainerName=[C1] iInfoType=0x00000001",
     "buffer size *pDeviceInfoLen is too small, expect 256 but 255 was given!", SOR_INDATALENERR, kUntouched,
     information_of_size(255)},
    {"SOF_GetDeviceInfo pszContainerName=[C1] iInfoType=0x00000001",
     "buffer size *pDeviceInfoLen is too small, expect 256 but 0 was given!", SOR_INDATALENERR, kUntouched,
     information_of_size(0)},

    {"SOF_GetUserList *pUserListLen=2863311530", "", SOR_OK, 2048, without_output(list_users)},
    {"SOF_GetUserList *pUserListLen=0", "pUserListLen is null!", SOR_NULLPOINTERERR, kUntouched,
     without_length(list_users)},
    {"SOF_GetUserList *pUserListLen=0", "pUserListLen is null!", SOR_NULLPOINTERERR, kUntouched,
     without_outputs(list_users)},
};

INSTANTIATE_SERVICE_FAMILY(Device, kCalls, kVariants, kLocalCalls);

class UserList : public ClientTest {
 protected:
  static constexpr uint32_t kCapacity = 2048;

  // Lists the users into a buffer of the size that the size query returns.
  uint32_t list() { return library.SOF_GetUserList(users.text(), &length); }

  void expect_failure(Answer answer, uint32_t code, const std::vector<std::string>& lines) {
    LogReader::clear();
    service.answers(std::move(answer));
    length = 2048;
    EXPECT_EQ(list(), code);
    EXPECT_TRUE(users.untouched());
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(log.errors(), lines);
  }

  GuardedBuffer users{kCapacity};
  uint32_t length = kUntouched;
};

std::string success(const std::string& result) { return R"({"ErrorCode":"0","Result":)" + result + "}"; }

TEST_F(UserList, IsEmptyTextForAnAnswerWithoutList) {
  service.answers(json(R"({"ErrorCode":"0"})"));
  EXPECT_EQ(list(), SOR_OK);
  EXPECT_EQ(users.data()[0], 0);
  EXPECT_TRUE(users.untouched(1));
  EXPECT_EQ(length, 0u);
}

TEST_F(UserList, EmptyListLeavesTheBuffer) {
  for (const char* result : {"[]", "{}", "null", "\"text\"", "7"}) {
    service.answers(json(success(result)));
    EXPECT_EQ(list(), SOR_OK) << result;
    EXPECT_TRUE(users.untouched()) << result;
    EXPECT_EQ(length, 0u) << result;
  }
}

// 683 names, all but the last one empty, hence 682 separators of three bytes.
std::string names_ending_in(const std::string& last) {
  std::string names = "[";
  for (int i = 0; i < 682; ++i) names += "1,";
  return names + '"' + last + "\"]";
}

TEST_F(UserList, MayFillTheBuffer) {
  service.answers(json(success(names_ending_in("x"))));
  EXPECT_EQ(list(), SOR_OK);
  EXPECT_EQ(length, 2047u);
  EXPECT_EQ(users.bytes(), std::string(2046, '&') + "x" + '\0');
}

TEST_F(UserList, IsRefusedAboveTheBufferSize) {
  expect_failure(json(success(names_ending_in("xx"))), SOR_INDATALENERR, {});
  expect_failure(json(success(names_ending_in("\u5F20"))), SOR_INDATALENERR, {});
  expect_failure(json(success(names_ending_in(std::string(600, 'x')))), SOR_INDATALENERR, {});
}

TEST_F(UserList, IsNotWrittenWhenTheCallFails) {
  expect_failure(json(R"({"ErrorCode":"B000403","Result":["u1"]})"), SOR_NULLPOINTERERR, {});
  expect_failure(json(R"({"Result":["u1"]})"), SOR_UNKNOWNERR, {});
  expect_failure(json(R"({"ErrorCode":0,"Result":["u1"]})"), SOR_UNKNOWNERR, {});
  expect_failure(json("no JSON"), SOR_JSONPARSEERR, {"SOF_GetUserList->cJSON_Parse [no JSON]"});
  expect_failure(json(""), SOR_JSONPARSEERR, {"SOF_GetUserList->cJSON_Parse []"});
  service.answers(Answer::nothing());
  EXPECT_EQ(list(), SOR_COMMUNICATIONERR);
  EXPECT_TRUE(users.untouched());
  EXPECT_EQ(length, 0u);
  EXPECT_THAT(log.errors(), testing::Contains("SOF_GetUserList->post_json xrv = -1"));
}

int WINAPI convert_nothing(UINT, DWORD, LPCWCH, int, LPSTR, int, LPCCH, LPBOOL) { return 0; }

TEST_F(UserList, IsNotWrittenWhenConversionFails) {
  const ImportPatch conversion(library.module(), "KERNEL32.dll", "WideCharToMultiByte", convert_nothing);
  expect_failure(json(success(R"(["u1","u2"])")), SOR_FILEERR, {});
}

std::vector<UINT> pages;

// Code page 54936 (GB18030) accepts no flags and no default character. Convert with 936 (GBK), which has the
// same two-byte characters and is available on every system.
int WINAPI convert_as_gb18030(UINT page, DWORD flags, LPCWCH text, int length, LPSTR result, int capacity,
                              LPCCH substitute, LPBOOL substituted) {
  pages.push_back(page);
  EXPECT_EQ(flags, 0u);
  EXPECT_EQ(substitute, nullptr);
  EXPECT_EQ(substituted, nullptr);
  return WideCharToMultiByte(936, flags, text, length, result, capacity, substitute, substituted);
}

BOOL WINAPI every_page_is_valid(UINT) { return TRUE; }
BOOL WINAPI no_page_is_valid(UINT) { return FALSE; }

TEST_F(UserList, IsInGb18030IfAvailableOtherwiseInGbk) {
  const ImportPatch conversion(library.module(), "KERNEL32.dll", "WideCharToMultiByte", convert_as_gb18030);
  for (const bool valid : {true, false}) {
    const ImportPatch validity(library.module(), "KERNEL32.dll", "IsValidCodePage",
                               valid ? every_page_is_valid : no_page_is_valid);
    pages.clear();
    service.answers(json(success("[\"\u5F20\u4E09\"]")));
    EXPECT_EQ(list(), SOR_OK);
    EXPECT_STREQ(users.text(), "\xD5\xC5\xC8\xFD");
    EXPECT_EQ(length, 4u);
    EXPECT_FALSE(pages.empty());
    EXPECT_THAT(pages, testing::Each(valid ? 54936u : 936u));
  }
}

TEST_F(UserList, AcceptsAnswersUpToItsCapacity) {
  std::string body = success(R"(["u1","u2"])");
  body.resize(kCapacity + 1, ' ');
  expect_failure(json(body), SOR_JSONPARSEERR, {"SOF_GetUserList->cJSON_Parse []"});
  body.pop_back();
  service.answers(json(body));
  EXPECT_EQ(list(), SOR_OK);
  EXPECT_STREQ(users.text(), "u1&&&u2");
}

TEST_F(UserList, IsNotWrittenWhenMemoryRunsOut) {
  const std::string names = R"(["a name that no small text object holds in itself","another one"])";
  service.responds([=](const Request&) { return json(success(names)); });
  settle_memory(library);
  AllocationFaults memory(library.module());
  std::vector<uint32_t> results;
  for (size_t nth = 1;; ++nth) {
    SCOPED_TRACE(nth);
    memory.restart();
    memory.fail_at(nth);
    GuardedBuffer output(kCapacity);
    const uint32_t result = library.SOF_GetUserList(output.text(), &length);
    EXPECT_EQ(memory.outstanding(), 0u);
    if (!memory.has_failed()) {
      EXPECT_EQ(result, SOR_OK);
      break;
    }
    results.push_back(result);
    EXPECT_TRUE(output.untouched());
    EXPECT_EQ(length, 0u);
  }
  // Order of the allocations: the HTTP exchange, the JSON reader (which cannot report why it failed), then
  // the list and its conversion.
  const auto is_readers = [](uint32_t result) { return result == SOR_JSONPARSEERR; };
  const auto first = std::find_if(results.begin(), results.end(), is_readers);
  const auto behind = std::find_if_not(first, results.end(), is_readers);
  EXPECT_GT(first - results.begin(), 5);
  EXPECT_GT(behind - first, 5);
  EXPECT_GE(results.end() - behind, 2);
  for (auto at = results.begin(); at != first; ++at) EXPECT_EQ(*at, SOR_MEMORYERR);
  for (auto at = behind; at != results.end(); ++at) EXPECT_EQ(*at, SOR_MEMORYERR);
}

class DeviceType : public ClientTest {
 protected:
  void TearDown() override {
    EXPECT_THAT(entry_lines(), testing::Each("SOF_Ext_GetDeviceType"));
    EXPECT_THAT(log.errors(), testing::IsEmpty());
    EXPECT_THAT(service.requests(), testing::IsEmpty());
    ClientTest::TearDown();
  }
};

TEST_F(DeviceType, IsTheTypeOfTheLastDevice) {
  DeviceRecord record{};
  for (uint32_t type : {0u, 3u, 0xFFFFFFFEu}) {
    std::memset(&record, 0x5A, sizeof record);
    record.device_type = type;
    STANDIN(vde_get_last_device_config).returns(&record);
    uint32_t found = kUntouched;
    EXPECT_EQ(library.SOF_Ext_GetDeviceType(&found), SOR_OK);
    EXPECT_EQ(found, type);
  }
}

TEST_F(DeviceType, IsUnknownWithoutADevice) {
  uint32_t found = kUntouched;
  EXPECT_EQ(library.SOF_Ext_GetDeviceType(&found), SOR_OK);
  EXPECT_EQ(found, 0xFFFFFFFFu);
}

TEST_F(DeviceType, OutputIsOptional) {
  EXPECT_EQ(library.SOF_Ext_GetDeviceType(nullptr), SOR_OK);
  DeviceRecord record{};
  STANDIN(vde_get_last_device_config).returns(&record);
  EXPECT_EQ(library.SOF_Ext_GetDeviceType(nullptr), SOR_OK);
  EXPECT_EQ(STANDIN(vde_get_last_device_config).count(), 2u);
}

}  // namespace

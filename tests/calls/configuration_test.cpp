// Settings of the local service.
#include "calls/service_case.h"

using namespace velm::test;

namespace {

const std::string kValue("\x01\x02", 2);

Call configure(const std::string* value, uint32_t size) {
  return [=](const ClientLibrary& library, uint8_t*, uint32_t*) {
    return library.SOF_Config(5, bytes_of(value), size);
  };
}

const std::vector<ServiceCase> kCalls{
    {"SOF_Config", Form::kFrameCode, 512, "SOF_Config uiSetType=5 uiValLen=2",
     std::string("\x77\x2B\x05\0\0\0\x02\0\0\0\x01\x02", 12), "", "", kUntouched, configure(&kValue, 2)},
};

const std::vector<ServiceCase> kVariants{
    {"SOF_Config", Form::kFrameCode, 512, "SOF_Config uiSetType=5 uiValLen=0",
     std::string("\x77\x2B\x05\0\0\0\0\0\0\0", 10), "", "", kUntouched, configure(&kValue, 0)},
    {"SOF_Config", Form::kFrameCode, 512, "SOF_Config uiSetType=5 uiValLen=7",
     std::string("\x77\x2B\x05\0\0\0\0\0\0\0", 10), "", "", kUntouched, configure(nullptr, 7)},
};

const std::vector<LocalCase> kLocalCalls{
    {"SOF_Ext_Get_Config uiSetType=4294967295", "", SOR_NOTSUPPORTYETERR, kUntouched,
     [](const ClientLibrary& library, uint8_t*, uint32_t*) {
       return library.SOF_Ext_Get_Config(0xFFFFFFFF);
     }},
};

INSTANTIATE_SERVICE_FAMILY(Configuration, kCalls, kVariants, kLocalCalls);

class SettingDump : public testing::Test {
 protected:
  // The dump lines, which do not have the prefix of a log line.
  std::vector<std::string> dumped_by(Marker marker, const std::string* value, uint32_t size) {
    ClientLibrary library{marker};
    service.answers(frame_code(0));
    EXPECT_EQ(configure(value, size)(library, nullptr, nullptr), SOR_OK);
    return LogReader::messages(Level::kNone);
  }

  Standins standins;
  ServiceDouble service;
};

TEST_F(SettingDump, ShowsTheBytesAtVerboseLogging) {
  const std::string value("\x0A\xFF", 2);
  EXPECT_THAT(dumped_by(Marker::kPresent, &value, 2), testing::ElementsAre("pSetVal = 0A FF [2]"));
}

TEST_F(SettingDump, ShowsNothingOtherwise) {
  EXPECT_THAT(dumped_by(Marker::kAbsent, &kValue, 2), testing::IsEmpty());
  EXPECT_THAT(dumped_by(Marker::kPresent, &kValue, 0), testing::IsEmpty());
  EXPECT_THAT(dumped_by(Marker::kPresent, nullptr, 7), testing::IsEmpty());
}

TEST(Setting, IsLoggedThenDumpedThenFails) {
  const Standins standins;
  const ClientLibrary library{Marker::kPresent};  // no service is running
  EXPECT_EQ(library.SOF_Config(5, bytes_of(kValue), 2), SOR_COMMUNICATIONERR);
  EXPECT_THAT(LogReader::messages(),
              testing::ElementsAre("DllMain->Process attach.", "SOF_Config uiSetType=5 uiValLen=2",
                                   "pSetVal = 01 02 [2]", testing::StartsWith("xhttp_request_w->"),
                                   "SOF_Config->xhttp::post xrv = -57"));
}

}  // namespace

// Calls that always return "not supported".
#include <gmock/gmock.h>

#include "support/client_library.h"
#include "support/log_reader.h"
#include "support/standins.h"

using namespace velm::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr uint32_t kNotSupported = 0x0B000002;

class Unsupported : public testing::Test {
 protected:
  // The entry lines since the load.
  static std::vector<std::string> entry_lines() {
    auto lines = LogReader::messages(Level::kInformation);
    lines.erase(lines.begin());  // written by the load
    return lines;
  }

  Standins standins;
  ClientLibrary library{Marker::kPresent};
};

TEST_F(Unsupported, EachWritesItsEntryLine) {
  const uint8_t data[] = {1};
  EXPECT_EQ(library.SOF_Ext_ParseCertInfo(data, 1, 0x2A, "1.2.3"), kNotSupported);
  EXPECT_EQ(library.SOF_Ext_GetCertChain(data, 1), kNotSupported);
  EXPECT_EQ(library.SOF_Ext_GenCSR("C1"), kNotSupported);
  EXPECT_EQ(library.SOF_Ext_ParseCSR(data, 4000000000u), kNotSupported);
  EXPECT_THAT(entry_lines(),
              ElementsAre("SOF_Ext_ParseCertInfo uCertLen=1 infoFlags=0x0000002A oids=[1.2.3]",
                          "SOF_Ext_GetCertChain uCertLen=1", "SOF_Ext_GenCSR, pszContainerName=[C1]",
                          "SOF_Ext_ParseCSR, csrDataLen=4000000000"));
}

TEST_F(Unsupported, NullArgumentsAreIgnored) {
  EXPECT_EQ(library.SOF_Ext_ParseCertInfo(nullptr, 0, 0, nullptr), kNotSupported);
  EXPECT_EQ(library.SOF_Ext_GetCertChain(nullptr, 0), kNotSupported);
  EXPECT_EQ(library.SOF_Ext_GenCSR(nullptr), kNotSupported);
  EXPECT_EQ(library.SOF_Ext_ParseCSR(nullptr, 0), kNotSupported);
  EXPECT_THAT(entry_lines(),
              ElementsAre("SOF_Ext_ParseCertInfo uCertLen=0 infoFlags=0x00000000 oids=[NULL]",
                          "SOF_Ext_GetCertChain uCertLen=0", "SOF_Ext_GenCSR, pszContainerName=[(null)]",
                          "SOF_Ext_ParseCSR, csrDataLen=0"));
  EXPECT_THAT(LogReader::errors(), IsEmpty());
  EXPECT_THAT(standins.call_log(), IsEmpty());
}

}  // namespace

// Signed XML.
#include "calls/signing_test.h"

using namespace velm::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class XmlSignature : public SigningTest {
 protected:
  static constexpr size_t kItems = 6;

  XmlSignature() { play_items(); }

  // Returns the item sizes and, if buffers are given, fills them. `extra` is added to the lengths that the
  // filling pass returns.
  void play_items(uint32_t extra = 0) {
    STANDIN(SAF_Ext_XMLParse)
        .plays([this, extra](void*, uint32_t, const uint8_t*, uint32_t, uint8_t* item1, uint32_t* length1,
                             uint8_t* item2, uint32_t* length2, uint8_t* item3, uint32_t* length3,
                             uint8_t* item4, uint32_t* length4, uint8_t* item5, uint32_t* length5,
                             uint8_t* item6, uint32_t* length6) {
          uint8_t* const buffers[] = {item1, item2, item3, item4, item5, item6};
          uint32_t* const lengths[] = {length1, length2, length3, length4, length5, length6};
          lengths_in.clear();
          for (size_t i = 0; i < kItems; ++i) {
            lengths_in.push_back(*lengths[i]);
            const std::string& item = items[i];
            *lengths[i] = static_cast<uint32_t>(item.size());
            if (!buffers[i]) continue;
            std::copy(item.begin(), item.end(), buffers[i]);
            *lengths[i] += extra;
          }
          return 0u;
        });
  }

  uint32_t get_info(uint32_t type, uint8_t* info, uint32_t* info_length) {
    return balanced(
        [&] { return library.SOF_GetXMLSignatureInfo(xml.data(), xml.size(), type, info, info_length); });
  }

  using Verification = std::remove_reference_t<decltype(STANDIN(SAF_Ext_XMLVerify))>;
  Verification& verification = STANDIN(SAF_Ext_XMLVerify);
  const std::vector<std::string> items{"first", "the second item",     "",
                                       "4",     std::string(300, 'x'), "the last"};
  GuardedBytes xml{"<xml/>"};
  std::vector<uint32_t> lengths_in;  // of the last pass
};

TEST_F(XmlSignature, SigningIsNotSupported) {
  GuardedBuffer output{16};
  uint32_t length = 16;
  const auto sign = [&](const char* container, const uint8_t* data, uint32_t* output_length) {
    return balanced(
        [&] { return library.SOF_SignDataXML(container, data, 6, output.data(), output_length); });
  };
  EXPECT_EQ(sign("SM2", xml.data(), &length), 0x0B000002u);
  EXPECT_EQ(library.SOF_SignDataXML("", xml.data(), 0, nullptr, &length), 0x0B000002u);
  EXPECT_THAT(new_lines(), IsEmpty());

  EXPECT_EQ(sign(nullptr, nullptr, nullptr), 0x0B000403u);
  EXPECT_EQ(sign("SM2", nullptr, nullptr), 0x0B000403u);
  EXPECT_EQ(sign("SM2", xml.data(), nullptr), 0x0B000403u);
  EXPECT_THAT(new_lines(),
              ElementsAre("pszContainerName is null!", "pInData is null!", "pOutDataLen is null!"));

  EXPECT_TRUE(output.untouched());
  EXPECT_EQ(length, 16u);
  EXPECT_THAT(standins.call_log(), IsEmpty());
}

TEST_F(XmlSignature, VerifyingOpensTheHandleAndPassesTheXml) {
  let_handle_open();
  EXPECT_EQ(library.SOF_VerifySignedDataXML(xml.data(), xml.size()), 0u);
  EXPECT_EQ(verification.calls().at(0), Verification::Call(open_application(), 0u, xml.data(), 6u));
  EXPECT_THAT(standins.call_log(), ElementsAre("SAF_Initialize", "SAF_Ext_XMLVerify"));
  EXPECT_THAT(new_lines(), IsEmpty());
}

TEST_F(XmlSignature, VerifyingContinuesWithoutHandle) {
  STANDIN(SAF_Initialize).returns(0x0200FFFF);
  EXPECT_EQ(library.SOF_VerifySignedDataXML(xml.data(), xml.size()), 0u);
  EXPECT_EQ(std::get<0>(verification.calls().at(0)), nullptr);
  EXPECT_THAT(new_lines(), ElementsAre("SI_Initialize -> SAF_Initialize, saf_rv = 0x0200FFFF "));
}

TEST_F(XmlSignature, VerifyingChecksAndMaps) {
  const auto call =
      call_of(library.SOF_VerifySignedDataXML, nullptr, {"pMessageData", nullptr}, {xml.data(), 6});
  expect_null_checks(call);
  expect_mapped(call, STANDIN(SAF_Ext_XMLVerify), "SAF_Ext_XMLVerify");
  STANDIN(SAF_Ext_XMLVerify).returns(0x02000002);
  expect_survives_allocation_faults([&] { return call.run(); });
}

TEST_F(XmlSignature, EachTypeReturnsItsItem) {
  let_handle_open();
  for (uint32_t type = 1; type <= kItems; ++type) {
    SCOPED_TRACE(type);
    const std::string& item = items[type - 1];
    GuardedBuffer info{item.size()};
    uint32_t length = 0;
    EXPECT_EQ(get_info(type, info.data(), &length), 0u);
    EXPECT_EQ(length, item.size());
    EXPECT_EQ(info.bytes(), item);
    EXPECT_THAT(lengths_in, ElementsAre(0, 0, 0, 0, 0, 0));
    for (const std::string& each : items) EXPECT_TRUE(has_allocated(each.size() + 256));
  }
  EXPECT_EQ(STANDIN(SAF_Initialize).count(), 1u);
  const auto calls = STANDIN(SAF_Ext_XMLParse).calls();
  ASSERT_EQ(calls.size(), 2 * kItems);
  EXPECT_EQ(std::get<0>(calls[0]), open_application());
  EXPECT_EQ(std::get<1>(calls[0]), 0u);
  EXPECT_EQ(std::get<2>(calls[0]), xml.data());
  EXPECT_EQ(std::get<3>(calls[0]), 6u);
  EXPECT_EQ(std::get<4>(calls[0]), nullptr);
  EXPECT_EQ(std::get<14>(calls[0]), nullptr);
  EXPECT_NE(std::get<4>(calls[1]), nullptr);
  EXPECT_NE(std::get<14>(calls[1]), nullptr);
  EXPECT_THAT(new_lines(), IsEmpty());
}

TEST_F(XmlSignature, ReadingContinuesWithoutHandle) {
  STANDIN(SAF_Initialize).returns(0x02000005);
  GuardedBuffer info{5};
  uint32_t length = 0;
  EXPECT_EQ(get_info(1, info.data(), &length), 0u);
  EXPECT_EQ(info.bytes(length), "first");
  EXPECT_THAT(standins.call_log(), ElementsAre("SAF_Initialize", "SAF_Ext_XMLParse", "SAF_Ext_XMLParse"));
  for (const auto& given : STANDIN(SAF_Ext_XMLParse).calls()) EXPECT_EQ(std::get<0>(given), nullptr);
  EXPECT_THAT(new_lines(), ElementsAre("SI_Initialize -> SAF_Initialize, saf_rv = 0x02000005 "));
}

TEST_F(XmlSignature, TheSizeQueryParsesOnce) {
  for (uint32_t type = 1; type <= kItems; ++type) {
    uint32_t length = 0xAAAAAAAA;
    EXPECT_EQ(get_info(type, nullptr, &length), 0u);
    EXPECT_EQ(length, items[type - 1].size());
    EXPECT_EQ(STANDIN(SAF_Ext_XMLParse).count(), type);
    EXPECT_THAT(lengths_in, ElementsAre(0, 0, 0, 0, 0, 0));
    EXPECT_THAT(allocated, IsEmpty());
  }
}

TEST_F(XmlSignature, OtherTypesAreRefusedAfterParsing) {
  for (const uint32_t type : {0u, 7u, 8u, 0xFFFFFFFFu}) {
    GuardedBuffer info{8};
    uint32_t length = 0xAAAAAAAA;
    const size_t before = STANDIN(SAF_Ext_XMLParse).count();
    EXPECT_EQ(get_info(type, info.data(), &length), 0x0B000002u);
    EXPECT_EQ(STANDIN(SAF_Ext_XMLParse).count(), before + 2);
    EXPECT_EQ(get_info(type, nullptr, &length), 0x0B000002u);
    EXPECT_EQ(length, 0xAAAAAAAA);
    EXPECT_TRUE(info.untouched());
  }
}

TEST_F(XmlSignature, NullArgumentsOfReading) {
  GuardedBuffer info{5};
  uint32_t length = 0xAAAAAAAA;
  EXPECT_EQ(library.SOF_GetXMLSignatureInfo(nullptr, 6, 1, info.data(), &length), 0x0B000403u);
  EXPECT_THAT(new_lines(), ElementsAre("pSignedData is null!"));
  EXPECT_TRUE(info.untouched());
  EXPECT_EQ(length, 0xAAAAAAAA);
  EXPECT_THAT(standins.call_log(), IsEmpty());

  EXPECT_EQ(get_info(1, info.data(), nullptr), 0u);
  EXPECT_EQ(info.bytes(), "first");
  EXPECT_EQ(get_info(1, nullptr, nullptr), 0u);
  EXPECT_EQ(get_info(0, nullptr, nullptr), 0x0B000002u);
}

TEST_F(XmlSignature, FailedPassIsLoggedAndMapped) {
  for (const std::vector<uint32_t>& results : {std::vector<uint32_t>{0x02000200}, {0, 0x02000200}}) {
    STANDIN(SAF_Ext_XMLParse).returns_in_turn(results);
    GuardedBuffer info{8};
    uint32_t length = 0xAAAAAAAA;
    EXPECT_EQ(get_info(1, info.data(), &length), 0x0B000200u);
    EXPECT_THAT(new_lines(), ElementsAre("\"SAF_Ext_XMLParse\" 0x02000200 "));
    EXPECT_TRUE(info.untouched());
    EXPECT_EQ(length, 0xAAAAAAAA);
  }
}

TEST_F(XmlSignature, GrowingLengthIsLimitedToTheBuffer) {
  play_items(1'000'000);
  GuardedBuffer info{5 + 256};
  uint32_t length = 0;
  EXPECT_EQ(get_info(1, info.data(), &length), 0u);
  EXPECT_EQ(length, 5u + 256);
  EXPECT_EQ(info.bytes(5), "first");
}

TEST_F(XmlSignature, EveryAllocationMayFail) {
  GuardedBuffer info{300};
  for (const std::string& item : items) {
    uint32_t length = 0xAAAAAAAA;
    EXPECT_EQ(without_allocation_of(item.size() + 256,
                                    [&] {
                                      length = 0xAAAAAAAA;
                                      return library.SOF_GetXMLSignatureInfo(xml.data(), xml.size(), 5,
                                                                             info.data(), &length);
                                    }),
              0x0B000100u);
    EXPECT_EQ(length, 0xAAAAAAAA);
    EXPECT_THAT(new_lines(), IsEmpty());
  }
  expect_survives_allocation_faults([&] {
    uint32_t length = 0;
    return library.SOF_GetXMLSignatureInfo(xml.data(), xml.size(), 5, info.data(), &length);
  });
}

TEST_F(XmlSignature, SizeQueryReturnsTheProvidersLength) {
  STANDIN(SAF_Ext_XMLParse)
      .plays([](auto, auto, auto, auto, auto, uint32_t* length1, auto, auto, auto, auto, auto, auto, auto,
                auto, auto, auto) {
        *length1 = 0xFFFFFFFF;
        return 0u;
      });
  uint32_t length = 0;
  EXPECT_EQ(get_info(1, nullptr, &length), 0u);
  EXPECT_EQ(length, 0xFFFFFFFFu);
}

}  // namespace

// Electronic seals.
#include "calls/service_case.h"

using namespace velm::test;

namespace {

const std::string kSeal("se\0al", 5);
const std::string kLongName(300, 'n');

Call count(const char* container) {
  return [=](const ClientLibrary& library, uint8_t*, uint32_t* length) {
    return library.SOF_Ext_EnumSeal(container, length);
  };
}

Call information(const char* container) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
    return library.SOF_Ext_GetSeaInfo(container, 0xFFFFFFFF, 2, output, length);
  };
}

ServiceCase count_case(const std::string& container, const std::string& answer, uint32_t result) {
  return {"SOF_Ext_EnumSeal",
          Form::kJson,
          128,
          "SOF_Ext_EnumSeal pszContainerName=[" + container + "] puSealCount=0x<length>",
          R"({"funcid":62,"container":")" + container + R"("})",
          answer,
          "",
          result,
          [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
            return count(container.c_str())(library, output, length);
          }};
}

std::string information_entry(const std::string& container) {
  return "SOF_Ext_GetSeaInfo pszContainerName=[" + container + "] uSealIndex=4294967295 uInfoType=2";
}

ServiceCase information_case(const std::string& container) {
  return {"SOF_Ext_GetSeaInfo",
          Form::kJson,
          65536,
          information_entry(container),
          R"({"funcid":63,"container":")" + container + R"(","sealIdx":4294967295,"infoType":2})",
          R"("c2UAYWw=")",
          kSeal,
          5,
          [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
            return information(container.c_str())(library, output, length);
          }};
}

// The largest possible answer.
ServiceCase largest_information_case() {
  ServiceCase row = information_case("C1");
  row.output = std::string(48 * 1024 - 48, 's');
  row.length = size_of(row.output);
  row.answer = '"' + base64(row.output) + '"';
  return row;
}

// The length is returned even without an output buffer.
ServiceCase information_length_case() {
  ServiceCase row = information_case("C1");
  row.output.clear();
  row.call = without_output(row.call);
  return row;
}

const std::vector<ServiceCase> kCalls{
    count_case("C1", R"({"sealCount":3})", 3),
    information_case("C1"),
};

const std::vector<ServiceCase> kVariants{
    count_case(R"(C"1\)", R"({"sealCount":3})", 3),
    count_case(kLongName, R"({"sealCount":3})", 3),
    count_case("", R"({"sealCount":3})", 3),
    count_case("C1", R"({"sealCount":-1})", 0xFFFFFFFF),
    count_case("C1", R"({"sealCount":"3"})", 0),
    count_case("C1", R"({"SEALCOUNT":3})", 3),
    count_case("C1", "null", 0),
    information_case(R"(C"1\)"),
    information_case(kLongName),
    information_case(""),
    largest_information_case(),
    information_length_case(),
};

const std::vector<LocalCase> kLocalCalls{
    {"SOF_Ext_EnumSeal pszContainerName=[NULL] puSealCount=0x0000000000000000", "pszContainerName is null!",
     SOR_NULLPOINTERERR, kUntouched, without_length(count(nullptr))},
    {"SOF_Ext_EnumSeal pszContainerName=[C1] puSealCount=0x0000000000000000", "puSealCount is null!",
     SOR_NULLPOINTERERR, kUntouched, without_length(count("C1"))},
    {information_entry("NULL"), "pszContainerName is null!", SOR_NULLPOINTERERR, kUntouched,
     without_outputs(information(nullptr))},
    {information_entry("C1"), "pInfoLen is null!", SOR_NULLPOINTERERR, kUntouched,
     without_length(information("C1"))},
    {information_entry("C1"), "pInfoLen is null!", SOR_NULLPOINTERERR, kUntouched,
     without_outputs(information("C1"))},
    {"", "", SOR_NOTSUPPORTYETERR, kUntouched,
     [](const ClientLibrary& library, uint8_t*, uint32_t*) { return library.SOF_Ext_ParseSealInfo(); }},
    {"", "", SOR_NOTSUPPORTYETERR, kUntouched,
     [](const ClientLibrary& library, uint8_t*, uint32_t*) { return library.SOF_Ext_GetSealInfoEPoint(); }},
};

INSTANTIATE_SERVICE_FAMILY(Seal, kCalls, kVariants, kLocalCalls);

TEST(SealParsing, HasTwoNamesAndIgnoresItsArguments) {
  Standins standins;
  ClientLibrary library;
  EXPECT_EQ(GetProcAddress(library.module(), "SOF_Ext_ParseSealInfo"),
            GetProcAddress(library.module(), "SOF_Ext_GetSealInfoEPoint"));
  const auto parse =
      library.function<uint32_t(const void*, uint32_t, void*, uint32_t*)>("SOF_Ext_ParseSealInfo");
  EXPECT_EQ(parse("seal", 4, nullptr, nullptr), SOR_NOTSUPPORTYETERR);
}

}  // namespace

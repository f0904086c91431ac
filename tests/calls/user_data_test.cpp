// User data files.
#include "calls/service_case.h"

using namespace velm::test;

namespace {

const std::string kData = "hello";
const std::string kPin = "123456";
const std::string kLongName(300, 'n');

Call read(const char* container) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t*) {
    return library.SOF_Ext_ReadUsrDataFile(container, 1, 2, 0xFFFFFFFF, 8, output);
  };
}

std::string read_request(const std::string& container) {
  return request_frame(28, {frame_text(container), little_endian(1), little_endian(2),
                            little_endian(0xFFFFFFFF), little_endian(8)});
}

std::string read_entry(const std::string& container) {
  return "SOF_Ext_ReadUsrDataFile [" + container +
         "] ulFileType=1 ulFileIndex=2 ulOffset=4294967295 ulReadLen=8";
}

Call write(const char* container, const std::string* pin, const std::string* data) {
  return [=](const ClientLibrary& library, uint8_t*, uint32_t*) {
    return library.SOF_Ext_WriteUsrDataFile(container, bytes_of(pin), pin ? size_of(*pin) : 6, 1, 2,
                                            0xFFFFFFFF, data ? size_of(*data) : 5, bytes_of(data));
  };
}

std::string write_request(const std::string& container, const std::string& pin, const std::string& data) {
  return R"({"funcid":29,"ContainerName":")" + container + R"(","Pin":")" + pin +
         R"(","FileType":1,"FileIndex":2,"Offset":4294967295,"WriteData":")" + data + R"("})";
}

std::string write_entry(const std::string& container, uint32_t size) {
  return "SOF_Ext_WriteUsrDataFile [" + container +
         "] ulFileType=1 ulFileIndex=2 ulOffset=4294967295 ulWriteLen=" + std::to_string(size) +
         " g_multiUserInDataFmt=2";
}

ServiceCase read_case(const char* container, const char* entry_name, const std::string& content) {
  return {"SOF_Ext_ReadUsrDataFile",
          Form::kFrame,
          8 + 32,
          read_entry(entry_name),
          read_request(container ? container : ""),
          content,
          content,
          kUntouched,
          read(container)};
}

ServiceCase write_case(const char* container, const std::string* pin, const std::string* data,
                       const std::string& request_pin, const std::string& request_data) {
  return {"SOF_Ext_WriteUsrDataFile",
          Form::kJson,
          128,
          write_entry(container ? container : "NULL", data ? size_of(*data) : 5),
          write_request(container ? container : "(null)", request_pin, request_data),
          "{}",
          "",
          kUntouched,
          write(container, pin, data)};
}

const std::vector<ServiceCase> kCalls{
    read_case("C1", "C1", "contents"),
    write_case("C1", &kPin, &kData, kPin, "aGVsbG8="),
};

const std::string kNothing;
const std::string kOneByte = "h";
const std::string kPin31(31, '1'), kPin32(32, '2'), kPin400(400, '4');
const std::string kPinWithZero(
    "12\0"
    "56",
    5);
const std::string kPinWithQuote = R"(12"34\)";

const std::vector<ServiceCase> kVariants{
    // If fewer bytes than requested arrive, the rest of the buffer stays unchanged.
    read_case("C1", "C1", "cont"),
    read_case("C1", "C1", ""),
    read_case(kLongName.c_str(), kLongName.c_str(), "contents"),
    read_case(R"(C"1\)", R"(C"1\)", "contents"),
    read_case(nullptr, "NULL", "contents"),
    {"SOF_Ext_ReadUsrDataFile", Form::kFrame, 40, read_entry("C1"), read_request("C1"), "contents", "",
     kUntouched, without_output(read("C1"))},

    // Sic: a PIN is sent in full and without escaping. It ends at its length or at its first zero byte.
    write_case("C1", &kPin31, &kData, kPin31, "aGVsbG8="),
    write_case("C1", &kPin32, &kData, kPin32, "aGVsbG8="),
    write_case("C1", &kPin400, &kData, kPin400, "aGVsbG8="),
    write_case("C1", &kPinWithZero, &kData, "12", "aGVsbG8="),
    write_case("C1", &kPinWithQuote, &kData, kPinWithQuote, "aGVsbG8="),
    write_case("C1", &kNothing, &kData, "", "aGVsbG8="),

    write_case("C1", &kPin, &kNothing, kPin, ""),
    write_case("C1", &kPin, &kOneByte, kPin, "aA=="),
    write_case(kLongName.c_str(), &kPin, &kData, kPin, "aGVsbG8="),
    write_case(R"(C"1\)", &kPin, &kData, kPin, "aGVsbG8="),
    write_case(nullptr, &kPin, &kData, kPin, "aGVsbG8="),
    write_case("C1", nullptr, &kData, "", "aGVsbG8="),
    write_case("C1", &kPin, nullptr, kPin, ""),
};

const std::vector<LocalCase> kLocalCalls{
    {"SOF_Ext_ReadUsrDataFile [C1] ulFileType=1 ulFileIndex=2 ulOffset=0 ulReadLen=4294967264", "",
     SOR_MEMORYERR, kUntouched,
     [](const ClientLibrary& library, uint8_t* output, uint32_t*) {
       return library.SOF_Ext_ReadUsrDataFile("C1", 1, 2, 0, 4294967264, output);
     }},
};

INSTANTIATE_SERVICE_FAMILY(UserData, kCalls, kVariants, kLocalCalls);

using UserData = ClientTest;

// The answer capacity is 32 bytes above the buffer size, so excess data must be refused separately.
TEST_F(UserData, ExcessDataIsRefused) {
  GuardedBuffer output(8);
  for (const size_t size : {9, 32}) {
    service.answers(frame(0, std::string(size, 'x')));
    EXPECT_EQ(library.SOF_Ext_ReadUsrDataFile("C1", 1, 2, 0, 8, output.data()), SOR_UNKNOWNERR);
    EXPECT_TRUE(output.untouched());
  }
  EXPECT_THAT(LogReader::errors(), testing::ElementsAre("SOF_Ext_ReadUsrDataFile->response frame [17]",
                                                        "SOF_Ext_ReadUsrDataFile->response frame [40]"));
}

TEST_F(UserData, ThePinIsNotLogged) {
  service.answers(json(R"({"ErrorCode":"0"})"), Answer::nothing());
  write("C1", &kPin31, &kData)(library, nullptr, nullptr);
  write("C1", &kPin31, &kData)(library, nullptr, nullptr);
  for (const std::string& line : LogReader::lines())
    EXPECT_THAT(line, testing::Not(testing::HasSubstr(kPin31)));
}

}  // namespace

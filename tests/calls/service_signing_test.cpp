// Signing and verification by the local service, and the sign method.
#include "calls/service_case.h"

using namespace velm::test;

namespace {

const std::string kData = "hello";
const std::string kCertificate = "cert";
const std::string kSignature = "signature";
const std::string kMessage(64, 'm');
const std::string kLongName(300, 'n');

std::string sign_data_request(const std::string& container) {
  return R"({"funcid":15,"ContainerName":")" + container + R"(","InData":"aGVsbG8=","base64":1})";
}

std::string sign_hash_request(const std::string& container, const std::string& hash) {
  return R"({"funcid":83,"container":")" + container +
         R"(","hashAlg":4294967295,"inDataType":2,"hashedData":")" + hash + R"("})";
}

std::string sign_message_request(const std::string& flag, const std::string& container,
                                 const std::string& data) {
  return R"({"funcid":23,"Flag":)" + flag + R"(,"ContainerName":")" + container + R"(","InData":")" + data +
         R"(","base64":1})";
}

std::string information_request(const std::string& message) {
  return request_frame(25, {frame_bytes(message), little_endian(0xFFFFFFFE)});
}

Call sign_data(const std::string& container, const std::string& data) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
    return library.SOF_SignData(container.c_str(), bytes_of(data), size_of(data), output, length);
  };
}

Call sign_message(int32_t flag, const char* container, const std::string* data, uint32_t size) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
    return library.SOF_SignMessage(flag, container, bytes_of(data), size, output, length);
  };
}

Call sign_hash(const char* container, const std::string* hash) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
    return library.SOF_Ext_SignHash(container, 0xFFFFFFFF, 2, bytes_of(hash), 5, output, length);
  };
}

Call verify_message(const std::string* data) {
  return [=](const ClientLibrary& library, uint8_t*, uint32_t*) {
    return library.SOF_VerifySignedMessage(bytes_of(kMessage), 3, bytes_of(data), 5);
  };
}

Call information(const std::string* message, uint32_t size = 64) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
    return library.SOF_GetInfoFromSignedMessage(bytes_of(message), size, -2, output, length);
  };
}

const std::vector<ServiceCase> kCalls{
    {"SOF_SignData", Form::kJson, 2048, "SOF_SignData [C1] uInDataLen=5", sign_data_request("C1"),
     R"({"Sign":"c2lnbmF0dXJl"})", kSignature, 9, sign_data("C1", kData)},
    {"SOF_VerifySignedData", Form::kJson, 128,
     "SOF_VerifySignedData uSignCertLen=4 uPlainDataLen=5 uSignedDataLen=9",
     R"({"funcid":16,"EncodeCert":"Y2VydA==","InData":"aGVsbG8=","SignValue":"c2lnbmF0dXJl", "base64":true})",
     "{}", "", kUntouched,
     [](const ClientLibrary& library, uint8_t*, uint32_t*) {
       return library.SOF_VerifySignedData(bytes_of(kCertificate), 4, bytes_of(kData), 5,
                                           bytes_of(kSignature), 9);
     }},
    {"SOF_SignMessage", Form::kJson, 8192 + 8, "SOF_SignMessage lFlag=0 [C1] uInDataLen=5",
     sign_message_request("0", "C1", "aGVsbG8="), R"({"SignData":"c2lnbmF0dXJl"})", kSignature, 9,
     sign_message(0, "C1", &kData, 5)},
    {"SOF_SignMessage", Form::kJson, 8192, "SOF_SignMessage lFlag=-1 [C1] uInDataLen=5",
     sign_message_request("-1", "C1", "aGVsbG8="), R"({"SignData":"c2lnbmF0dXJl"})", kSignature, 9,
     sign_message(-1, "C1", &kData, 5)},
    {"SOF_VerifySignedMessage", Form::kJson, 128,
     "SOF_VerifySignedMessage uMessageDataLen=3 pPlainData=0x00000000 uPlainDataLen=5",
     R"({"funcid":24,"MessageData":"bW1t","InData":"","base64":true})", "{}", "", kUntouched,
     verify_message(nullptr)},
    {"SOF_GetInfoFromSignedMessage", Form::kFrame, 64,
     "SOF_GetInfoFromSignedMessage lInfoIype=-2 uSignedMessageLen=64", information_request(kMessage),
     std::string("in\0fo", 5), std::string("in\0fo", 5), 5, information(&kMessage)},
    {"SOF_Ext_SignHash", Form::kJson, 2048,
     "SOF_Ext_SignHash [C1] uiHashAlgorithmID=0xFFFFFFFF uiInDataType=2 uiInDataLen=5",
     sign_hash_request("C1", "aGVsbG8="), R"("c2lnbmF0dXJl")", kSignature, 9, sign_hash("C1", &kData)},
};

const std::vector<ServiceCase> kVariants{
    // Sic: names are sent in full and without JSON escaping.
    {"SOF_SignData", Form::kJson, 2048, R"(SOF_SignData [C"1\] uInDataLen=5)", sign_data_request(R"(C"1\)"),
     R"({"Sign":"c2lnbmF0dXJl"})", kSignature, 9, sign_data(R"(C"1\)", kData)},
    {"SOF_SignData", Form::kJson, 2048, "SOF_SignData [" + kLongName + "] uInDataLen=5",
     sign_data_request(kLongName), R"({"Sign":"c2lnbmF0dXJl"})", kSignature, 9, sign_data(kLongName, kData)},
    {"SOF_SignData", Form::kJson, 2048, "SOF_SignData [] uInDataLen=5", sign_data_request(""),
     R"({"Sign":"c2lnbmF0dXJl"})", kSignature, 9, sign_data("", kData)},
    {"SOF_SignMessage", Form::kJson, 8192, "SOF_SignMessage lFlag=1 [" + kLongName + "] uInDataLen=5",
     sign_message_request("1", kLongName, "aGVsbG8="), R"({"SignData":"c2lnbmF0dXJl"})", kSignature, 9,
     sign_message(1, kLongName.c_str(), &kData, 5)},
    {"SOF_Ext_SignHash", Form::kJson, 2048,
     "SOF_Ext_SignHash [" + kLongName + "] uiHashAlgorithmID=0xFFFFFFFF uiInDataType=2 uiInDataLen=5",
     sign_hash_request(kLongName, "aGVsbG8="), R"("c2lnbmF0dXJl")", kSignature, 9,
     sign_hash(kLongName.c_str(), &kData)},

    // Empty data and data of one byte.
    {"SOF_SignData", Form::kJson, 2048, "SOF_SignData [C1] uInDataLen=0",
     R"({"funcid":15,"ContainerName":"C1","InData":"","base64":1})", R"({"Sign":"c2lnbmF0dXJl"})", kSignature,
     9, sign_data("C1", "")},
    {"SOF_SignData", Form::kJson, 2048, "SOF_SignData [C1] uInDataLen=1",
     R"({"funcid":15,"ContainerName":"C1","InData":"aA==","base64":1})", R"({"Sign":"c2lnbmF0dXJl"})",
     kSignature, 9, sign_data("C1", "h")},

    // Pointers that are not checked for null.
    {"SOF_SignMessage", Form::kJson, 8200, "SOF_SignMessage lFlag=0 [NULL] uInDataLen=5",
     sign_message_request("0", "(null)", ""), R"({"SignData":"c2lnbmF0dXJl"})", kSignature, 9,
     sign_message(0, nullptr, nullptr, 5)},
    {"SOF_SignMessage", Form::kJson, 8200, "SOF_SignMessage lFlag=0 [C1] uInDataLen=5",
     sign_message_request("0", "C1", "aGVsbG8="), R"({"SignData":"c2lnbmF0dXJl"})", kSignature, kUntouched,
     without_length(sign_message(0, "C1", &kData, 5))},
    {"SOF_GetInfoFromSignedMessage", Form::kFrame, 64,
     "SOF_GetInfoFromSignedMessage lInfoIype=-2 uSignedMessageLen=64", information_request(""), "info",
     "info", 4, information(nullptr)},
    {"SOF_GetInfoFromSignedMessage", Form::kFrame, 64,
     "SOF_GetInfoFromSignedMessage lInfoIype=-2 uSignedMessageLen=64", information_request(kMessage), "info",
     "info", kUntouched, without_length(information(&kMessage))},
    {"SOF_Ext_SignHash", Form::kJson, 2048,
     "SOF_Ext_SignHash [NULL] uiHashAlgorithmID=0xFFFFFFFF uiInDataType=2 uiInDataLen=5",
     sign_hash_request("(null)", ""), R"("c2lnbmF0dXJl")", kSignature, 9, sign_hash(nullptr, nullptr)},
    {"SOF_Ext_SignHash", Form::kJson, 2048,
     "SOF_Ext_SignHash [C1] uiHashAlgorithmID=0xFFFFFFFF uiInDataType=2 uiInDataLen=5",
     sign_hash_request("C1", "aGVsbG8="), R"("c2lnbmF0dXJl")", kSignature, kUntouched,
     without_length(sign_hash("C1", &kData))},
};

Call sign_data_with(const char* container, const std::string* data) {
  return [=](const ClientLibrary& library, uint8_t* output, uint32_t* length) {
    return library.SOF_SignData(container, bytes_of(data), 5, output, length);
  };
}

Call verify_data_with(const std::string* certificate, const std::string* data, const std::string* signature) {
  return [=](const ClientLibrary& library, uint8_t*, uint32_t*) {
    return library.SOF_VerifySignedData(bytes_of(certificate), 4, bytes_of(data), 5, bytes_of(signature), 9);
  };
}

constexpr char kVerifyEntry[] = "SOF_VerifySignedData uSignCertLen=4 uPlainDataLen=5 uSignedDataLen=9";

const std::vector<LocalCase> kLocalCalls{
    // Size queries.
    {"SOF_SignData [C1] uInDataLen=5", "", SOR_OK, 1024, without_output(sign_data("C1", kData))},
    {"SOF_SignMessage lFlag=0 [C1] uInDataLen=1000", "", SOR_OK, 9192,
     without_output(sign_message(0, "C1", &kData, 1000))},
    {"SOF_SignMessage lFlag=1 [NULL] uInDataLen=1000", "", SOR_OK, 8192,
     without_output(sign_message(1, nullptr, nullptr, 1000))},
    {"SOF_SignMessage lFlag=0 [C1] uInDataLen=4294959103", "", SOR_OK, 0xFFFFFFFF,
     without_output(sign_message(0, "C1", nullptr, 4294959103))},
    {"SOF_SignMessage lFlag=0 [C1] uInDataLen=4294959104", "", SOR_MEMORYERR, kUntouched,
     without_output(sign_message(0, "C1", nullptr, 4294959104))},
    {"SOF_SignMessage lFlag=0 [C1] uInDataLen=5", "", SOR_OK, kUntouched,
     without_outputs(sign_message(0, "C1", &kData, 5))},
    {"SOF_GetInfoFromSignedMessage lInfoIype=-2 uSignedMessageLen=64", "", SOR_OK, 64,
     without_output(information(&kMessage))},
    {"SOF_GetInfoFromSignedMessage lInfoIype=-2 uSignedMessageLen=64", "", SOR_OK, kUntouched,
     without_outputs(information(nullptr))},
    {"SOF_Ext_SignHash [NULL] uiHashAlgorithmID=0xFFFFFFFF uiInDataType=2 uiInDataLen=5", "", SOR_OK, 1024,
     without_output(sign_hash(nullptr, nullptr))},
    {"SOF_Ext_SignHash [C1] uiHashAlgorithmID=0xFFFFFFFF uiInDataType=2 uiInDataLen=5", "", SOR_OK,
     kUntouched, without_outputs(sign_hash("C1", &kData))},

    // Null arguments; the first one decides the result.
    {"SOF_SignData [NULL] uInDataLen=5", "pszContainerName is null!", SOR_NULLPOINTERERR, kUntouched,
     without_outputs(sign_data_with(nullptr, nullptr))},
    {"SOF_SignData [C1] uInDataLen=5", "pInData is null!", SOR_NULLPOINTERERR, kUntouched,
     without_outputs(sign_data_with("C1", nullptr))},
    {"SOF_SignData [C1] uInDataLen=5", "pSignedDataLen is null!", SOR_NULLPOINTERERR, kUntouched,
     without_length(sign_data_with("C1", &kData))},
    {"SOF_SignData [C1] uInDataLen=5", "pSignedDataLen is null!", SOR_NULLPOINTERERR, kUntouched,
     without_outputs(sign_data_with("C1", &kData))},
    {kVerifyEntry, "pSignCert is null!", SOR_NULLPOINTERERR, kUntouched,
     verify_data_with(nullptr, nullptr, nullptr)},
    {kVerifyEntry, "pPlainData is null!", SOR_NULLPOINTERERR, kUntouched,
     verify_data_with(&kCertificate, nullptr, nullptr)},
    {kVerifyEntry, "pSignedData is null!", SOR_NULLPOINTERERR, kUntouched,
     verify_data_with(&kCertificate, &kData, nullptr)},
    {"SOF_VerifySignedMessage uMessageDataLen=3 pPlainData=0x00000000 uPlainDataLen=0",
     "pMessageData is null!", SOR_NULLPOINTERERR, kUntouched,
     [](const ClientLibrary& library, uint8_t*, uint32_t*) {
       return library.SOF_VerifySignedMessage(nullptr, 3, nullptr, 0);
     }},
};

INSTANTIATE_SERVICE_FAMILY(ServiceSigning, kCalls, kVariants, kLocalCalls);

class ServiceSigning : public ClientTest {
 protected:
  // Calls SOF_SignMessage() for a message with embedded data, and answers with this many bytes.
  MadeCall answered_with(const std::string& data, size_t answer_size) {
    std::string body = R"({"ErrorCode":"0","Result":{"SignData":"c2lnbmF0dXJl"}})";
    body.resize(answer_size, ' ');
    service.answers(Answer(std::move(body)));
    return {library, sign_message(0, "C1", &data, size_of(data)), kSignature.size()};
  }
};

TEST_F(ServiceSigning, SignMethodIsStored) {
  EXPECT_EQ(library.SOF_GetSignMethod(), 0u);
  EXPECT_EQ(library.SOF_SetSignMethod(16), SOR_OK);
  EXPECT_EQ(library.SOF_GetSignMethod(), 16u);
  EXPECT_EQ(library.SOF_SetSignMethod(-2), SOR_OK);
  EXPECT_EQ(library.SOF_GetSignMethod(), 0xFFFFFFFEu);
  EXPECT_THAT(entry_lines(), testing::ElementsAre("SOF_SetSignMethod lSignMethod=0x00000010",
                                                  "SOF_SetSignMethod lSignMethod=0xFFFFFFFE"));
}

TEST_F(ServiceSigning, PlainDataOfAVerifiedMessage) {
  service.answers(json(R"({"ErrorCode":"0"})"));
  EXPECT_EQ(library.SOF_VerifySignedMessage(bytes_of(kMessage), 3, bytes_of(kData), 5), SOR_OK);
  EXPECT_EQ(service.take_request().body,
            R"({"funcid":24,"MessageData":"bW1t","InData":"aGVsbG8=","base64":true})");
  char entry[128];
  std::snprintf(entry, sizeof entry,
                "SOF_VerifySignedMessage uMessageDataLen=3 pPlainData=0x%08X uPlainDataLen=5",
                static_cast<unsigned>(reinterpret_cast<uintptr_t>(kData.data())));
  EXPECT_THAT(entry_lines(), testing::ElementsAre(entry));
}

// Sic: the answer capacity for a message with embedded data grows by 1.6 times the data, computed in single
// precision and truncated: 16,777,217 becomes 16,777,216, and 1.6 becomes 13,421,773 / 2^23.
TEST_F(ServiceSigning, AnswerCapacityOfASignedMessageGrowsWithItsData) {
  const struct {
    uint32_t data_size;
    uint32_t capacity;
  } rows[] = {{1, 8193}, {3, 8196}, {1000, 9792}, {16'777'217, 8192 + 26'843'546}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.data_size);
    const std::string data(row.data_size, 'd');
    const MadeCall taken = answered_with(data, row.capacity);
    EXPECT_EQ(taken.result, SOR_OK);
    EXPECT_EQ(taken.output.bytes(9), kSignature);
    const MadeCall refused = answered_with(data, row.capacity + 1);
    EXPECT_EQ(refused.result, SOR_JSONPARSEERR);
    EXPECT_TRUE(refused.outputs_untouched());
  }
}

// Sic: the answer capacity is the message length, so below 8 bytes even an empty frame is refused.
TEST_F(ServiceSigning, InformationOfATinyMessageIsRefused) {
  for (uint32_t size = 0; size < 8; ++size) {
    LogReader::clear();
    service.answers(frame(0, ""));
    const MadeCall made(library, information(&kMessage, size), 0);
    EXPECT_EQ(made.result, SOR_UNKNOWNERR) << size;
    EXPECT_TRUE(made.outputs_untouched());
    EXPECT_EQ(service.take_request().body, information_request(kMessage.substr(0, size)));
    EXPECT_THAT(log.errors(), testing::ElementsAre("SOF_GetInfoFromSignedMessage->response frame [8]"));
  }
  service.answers(frame(0, ""));
  EXPECT_EQ(MadeCall(library, information(&kMessage, 8), 0).result, SOR_OK);
}

TEST_F(ServiceSigning, AnswerCapacityAbove32BitsIsRefused) {
  uint8_t output[1];
  uint32_t length = kUntouched;
  EXPECT_EQ(library.SOF_SignMessage(0, "C1", nullptr, 0xFFFFFFFF, output, &length), SOR_MEMORYERR);
  EXPECT_EQ(length, kUntouched);
  EXPECT_EQ(service.connections(), 0u);
}

TEST_F(ServiceSigning, Signs64MiB) {
  const std::string data(64 << 20, '\xA5');
  service.answers(json(R"({"ErrorCode":"0","Result":{"Sign":"c2lnbmF0dXJl"}})"));
  uint8_t output[16];
  uint32_t length = 0;
  EXPECT_EQ(library.SOF_SignData("C1", bytes_of(data), size_of(data), output, &length), SOR_OK);
  EXPECT_EQ(length, 9u);
  const std::string expected =
      R"({"funcid":15,"ContainerName":"C1","InData":")" + base64(data) + R"(","base64":1})";
  EXPECT_TRUE(service.take_request().body == expected);  // EXPECT_EQ would print 64 MiB
}

}  // namespace

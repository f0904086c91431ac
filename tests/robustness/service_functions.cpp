#include "robustness/service_functions.h"

#include <iterator>

#include "inc/velm_sof_client.h"

namespace velm::test {
namespace {

using Arguments = ServiceArguments;
using enum AnswerForm;
using Kind = ResultKind;
using Length = LengthUse;

constexpr char kName[] = "SM2_DEMO";
constexpr uint8_t kPin[] = {'1', '2', '3', '4'};
constexpr uint8_t kCertificate[] = {0x30, 0x03, 0x02, 0x01, 0x00};

constexpr ServiceFunction code_only(const char* name, uint32_t (*call)(const Arguments&)) {
  return {name, kJson, {128}, {}, Kind::kNone, nullptr, Length::kNone, call};
}

constexpr ServiceFunction number(const char* name, const char* member, uint32_t (*call)(const Arguments&)) {
  return {name, kJson, {128}, {}, Kind::kNumber, member, Length::kWritten, call};
}

constexpr ServiceFunction base64_member(const char* name, ByteCount capacity, ByteCount room,
                                        const char* member, uint32_t (*call)(const Arguments&)) {
  return {name, kJson, capacity, room, Kind::kBase64, member, Length::kWritten, call};
}

constexpr ServiceFunction frame(const char* name, ByteCount capacity, ByteCount room,
                                uint32_t (*call)(const Arguments&)) {
  return {name, kFrame, capacity, room, Kind::kNone, nullptr, Length::kWritten, call};
}

// Documented buffer sizes are repeated here, because they are what is tested.
constexpr ServiceFunction kFunctions[] = {
    code_only("SOF_Initialize", [](const Arguments&) { return SOF_Initialize(); }),
    code_only("SOF_Finalize", [](const Arguments&) { return SOF_Finalize(); }),
    {"SOF_GetVersion",
     kJson,
     {128},
     {128},
     Kind::kText,
     "Version",
     Length::kNone,
     [](const Arguments& a) { return SOF_GetVersion(reinterpret_cast<char*>(a.output)); }},
    {"SOF_GenRandom",
     kJson,
     {256, 2},
     {0, 1},
     Kind::kBase64,
     "RandomData",
     Length::kNone,
     [](const Arguments& a) { return SOF_GenRandom(a.size, a.output); }},
    code_only("SOF_Login", [](const Arguments&) { return SOF_Login(kName, "1234"); }),
    number("SOF_GetPinRetryCount", "RetryCount",
           [](const Arguments& a) { return SOF_GetPinRetryCount(kName, a.length); }),
    code_only("SOF_ChangePassWd", [](const Arguments&) { return SOF_ChangePassWd(kName, "1234", "5678"); }),
    code_only("SOF_Ext_Logout", [](const Arguments&) { return SOF_Ext_Logout(kName, 0); }),
    code_only("SOF_Ext_isLogin", [](const Arguments&) { return SOF_Ext_isLogin(kName, 0); }),
    {"SOF_GetDeviceInfo",
     kJson,
     {256},
     {256},
     Kind::kText,
     "DeviceInfo",
     Length::kWritten,
     [](const Arguments& a) { return SOF_GetDeviceInfo(kName, 0x203, a.output, a.length); }},
    {"SOF_GetUserList",
     kJson,
     {2048},
     {2048},
     Kind::kTexts,
     nullptr,
     Length::kCleared,
     [](const Arguments& a) { return SOF_GetUserList(reinterpret_cast<char*>(a.output), a.length); }},
    base64_member("SOF_ExportUserCert", {4096}, {3072}, "UserCert",
                  [](const Arguments& a) { return SOF_ExportUserCert(kName, a.output, a.length); }),
    base64_member("SOF_ExportExChangeUserCert", {4096}, {3072}, "UserCert",
                  [](const Arguments& a) { return SOF_ExportExChangeUserCert(kName, a.output, a.length); }),
    frame("SOF_GetCertInfo", {0, 1}, {0, 1},
          [](const Arguments& a) { return SOF_GetCertInfo(a.data, a.size, 0x31, a.output, a.length); }),
    base64_member("SOF_GetCertInfoByOid", {1024}, {768}, "Info",
                  [](const Arguments& a) {
                    return SOF_GetCertInfoByOid(a.data, a.size, "2.5.4.3", a.output, a.length);
                  }),
    code_only("SOF_ValidateCert", [](const Arguments& a) { return SOF_ValidateCert(a.data, a.size); }),
    base64_member("SOF_SignData", {2048}, {1536}, "Sign",
                  [](const Arguments& a) { return SOF_SignData(kName, a.data, a.size, a.output, a.length); }),
    code_only("SOF_VerifySignedData",
              [](const Arguments& a) {
                return SOF_VerifySignedData(kCertificate, sizeof kCertificate, a.data, a.size, a.data,
                                            a.size);
              }),
    base64_member(
        "SOF_SignMessage", {8192, 1.6f}, {6144, 1.25f}, "SignData",
        [](const Arguments& a) { return SOF_SignMessage(0, kName, a.data, a.size, a.output, a.length); }),
    code_only("SOF_VerifySignedMessage",
              [](const Arguments& a) { return SOF_VerifySignedMessage(a.data, a.size, nullptr, 0); }),
    frame("SOF_GetInfoFromSignedMessage", {0, 1}, {0, 1},
          [](const Arguments& a) {
            return SOF_GetInfoFromSignedMessage(a.data, a.size, 1, a.output, a.length);
          }),
    base64_member(
        "SOF_Ext_SignHash", {2048}, {1536}, nullptr,
        [](const Arguments& a) { return SOF_Ext_SignHash(kName, 1, 1, a.data, a.size, a.output, a.length); }),
    frame("SOF_EncryptData", {1024, 1}, {1024, 1},
          [](const Arguments& a) {
            return SOF_EncryptData(kCertificate, sizeof kCertificate, a.data, a.size, a.output, a.length);
          }),
    frame("SOF_DecryptData", {0, 1}, {0, 1},
          [](const Arguments& a) { return SOF_DecryptData(kName, a.data, a.size, a.output, a.length); }),
    frame("SOF_Ext_AsymmEncryptData", {1024, 1}, {1024, 1},
          [](const Arguments& a) {
            return SOF_Ext_AsymmEncryptData(a.data, a.size, kPin, sizeof kPin, a.output, a.length);
          }),
    frame("SOF_Ext_AsymmDecryptData", {1024, 1}, {1024, 1},
          [](const Arguments& a) {
            return SOF_Ext_AsymmDecryptData(kName, 1, a.data, a.size, a.output, a.length);
          }),
    frame("SOF_Ext_ExportPublicKey", {1024}, {1024},
          [](const Arguments& a) { return SOF_Ext_ExportPublicKey(kName, 1, a.output, a.length); }),
    {"SOF_Ext_ReadUsrDataFile",
     kFrame,
     {32, 1},
     {0, 1},
     Kind::kNone,
     nullptr,
     Length::kNone,
     [](const Arguments& a) { return SOF_Ext_ReadUsrDataFile(kName, 1, 2, 3, a.size, a.output); }},
    code_only("SOF_Ext_WriteUsrDataFile",
              [](const Arguments& a) {
                return SOF_Ext_WriteUsrDataFile(kName, kPin, sizeof kPin, 1, 2, 3, a.size, a.data);
              }),
    number("SOF_Ext_EnumSeal", "sealCount",
           [](const Arguments& a) { return SOF_Ext_EnumSeal(kName, a.length); }),
    base64_member("SOF_Ext_GetSeaInfo", {65536}, {49152}, nullptr,
                  [](const Arguments& a) { return SOF_Ext_GetSeaInfo(kName, 0, 2, a.output, a.length); }),
    {"SOF_Config",
     kFrameCode,
     {512},
     {},
     Kind::kNone,
     nullptr,
     Length::kNone,
     [](const Arguments& a) { return SOF_Config(1, a.data, a.size); }},
};

static_assert(std::size(kFunctions) == 32);

}  // namespace

std::span<const ServiceFunction> service_functions() { return kFunctions; }

}  // namespace velm::test

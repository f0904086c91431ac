// Signatures created and verified by the local service, and the sign method.
#include "velm_sof_client/process_state.h"
#include "velm_sof_client/service_call.h"

using namespace velm;

uint32_t SOF_SetSignMethod(int32_t lSignMethod) {
  return exported_call([&] {
    LOG_ENTRY("SOF_SetSignMethod lSignMethod=0x%08X\n", lSignMethod);
    process_state.sign_method = lSignMethod;
    process_state.file_is_base64 = lSignMethod == 16;
  });
}

uint32_t SOF_GetSignMethod(void) {
  return exported_call([]() noexcept { return static_cast<uint32_t>(process_state.sign_method.load()); });
}

uint32_t SOF_SignData(const char* pszContainerName, const uint8_t* pInData, uint32_t uInDataLen,
                      uint8_t* pSignedData, uint32_t* pSignedDataLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_SignData [%s] uInDataLen=%u\n", or_upper_null(pszContainerName), uInDataLen);
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(pInData, "pInData");
    require_pointer(pSignedDataLen, "pSignedDataLen");
    if (!pSignedData) return store(pSignedDataLen, 1024);

    JsonCall call{"SOF_SignData", 2048};
    call.post(R"({"funcid":%d,"ContainerName":"%s","InData":"%s","base64":1})", FunctionNumber::SignData,
              pszContainerName, Base64{pInData, uInDataLen});
    call.deliver_base64(call.result().member("Sign"), pSignedData, pSignedDataLen);
  });
}

uint32_t SOF_VerifySignedData(const uint8_t* pSignCert, uint32_t uSignCertLen, const uint8_t* pPlainData,
                              uint32_t uPlainDataLen, const uint8_t* pSignedData, uint32_t uSignedDataLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_VerifySignedData uSignCertLen=%u uPlainDataLen=%u uSignedDataLen=%u\n", uSignCertLen,
              uPlainDataLen, uSignedDataLen);
    require_pointer(pSignCert, "pSignCert");
    require_pointer(pPlainData, "pPlainData");
    require_pointer(pSignedData, "pSignedData");

    JsonCall call{"SOF_VerifySignedData", 128};
    call.post(R"({"funcid":%d,"EncodeCert":"%s","InData":"%s","SignValue":"%s", "base64":true})",
              FunctionNumber::VerifySignedData, Base64{pSignCert, uSignCertLen},
              Base64{pPlainData, uPlainDataLen}, Base64{pSignedData, uSignedDataLen});
  });
}

uint32_t SOF_SignMessage(int32_t lFlag, const char* pszContainerName, const uint8_t* pInData,
                         uint32_t uInDataLen, uint8_t* pSignedMessage, uint32_t* puSignedMessageLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_SignMessage lFlag=%d [%s] uInDataLen=%u\n", lFlag, or_upper_null(pszContainerName),
              uInDataLen);
    // Sic: if the message contains the data, the size query adds the data length, but the answer buffer adds
    // 1.6 times the data length, computed in single precision.
    const bool carries_data = lFlag == 0;
    if (!pSignedMessage) return store(puSignedMessageLen, length_sum(8192u, carries_data ? uInDataLen : 0u));

    const auto encoded = static_cast<uint64_t>(static_cast<float>(uInDataLen) * 1.6f);
    JsonCall call{"SOF_SignMessage", length_sum(uint64_t{8192}, carries_data ? encoded : 0)};
    call.post(R"({"funcid":%d,"Flag":%d,"ContainerName":"%s","InData":"%s","base64":1})",
              FunctionNumber::SignMessage, lFlag, pszContainerName, Base64{pInData, uInDataLen});
    call.deliver_base64(call.result().member("SignData"), pSignedMessage, puSignedMessageLen);
  });
}

uint32_t SOF_VerifySignedMessage(const uint8_t* pMessageData, uint32_t uMessageDataLen,
                                 const uint8_t* pPlainData, uint32_t uPlainDataLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_VerifySignedMessage uMessageDataLen=%u pPlainData=0x%08X uPlainDataLen=%u\n",
              uMessageDataLen, low_32_bits(pPlainData), uPlainDataLen);
    require_pointer(pMessageData, "pMessageData");

    JsonCall call{"SOF_VerifySignedMessage", 128};
    call.post(R"({"funcid":%d,"MessageData":"%s","InData":"%s","base64":true})",
              FunctionNumber::VerifySignedMessage, Base64{pMessageData, uMessageDataLen},
              Base64{pPlainData, uPlainDataLen});
  });
}

uint32_t SOF_GetInfoFromSignedMessage(const uint8_t* pSignedMessage, uint32_t uSignedMessageLen,
                                      int32_t lInfoType, uint8_t* pInfo, uint32_t* puInfoLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_GetInfoFromSignedMessage lInfoIype=%d uSignedMessageLen=%u\n", lInfoType,
              uSignedMessageLen);
    if (!pInfo) return store(puInfoLen, uSignedMessageLen);

    FrameCall call{"SOF_GetInfoFromSignedMessage", uSignedMessageLen};
    call.post(FunctionNumber::GetInfoFromSignedMessage,
              {FrameBytes{pSignedMessage, uSignedMessageLen}, static_cast<uint32_t>(lInfoType)});
    call.deliver(pInfo, puInfoLen);
  });
}

uint32_t SOF_Ext_SignHash(const char* pszContainerName, uint32_t uiHashAlgorithmID, uint32_t uiInDataType,
                          const uint8_t* pInData, uint32_t uiInDataLen, uint8_t* pSignedData,
                          uint32_t* puSignedDataLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_SignHash [%s] uiHashAlgorithmID=0x%08X uiInDataType=%u uiInDataLen=%u\n",
              or_upper_null(pszContainerName), uiHashAlgorithmID, uiInDataType, uiInDataLen);
    if (!pSignedData) return store(puSignedDataLen, 1024);

    JsonCall call{"SOF_Ext_SignHash", 2048};
    call.post(R"({"funcid":%d,"container":"%s","hashAlg":%u,"inDataType":%u,"hashedData":"%s"})",
              FunctionNumber::SignHash, pszContainerName, uiHashAlgorithmID, uiInDataType,
              Base64{pInData, uiInDataLen});
    call.deliver_base64(call.result(), pSignedData, puSignedDataLen);
  });
}

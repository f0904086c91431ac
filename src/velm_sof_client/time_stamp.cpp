// Time-stamp tokens (RFC 3161) and the time of the time-stamp authority (TSA), through the signature
// provider. A null output is passed to the provider, which then reports the required size.
#include "velm_sof_client/provider_call.h"

using namespace velm;

uint32_t SOF_Ext_TspGetTime(uint8_t* pucTime, uint32_t* pulTimeLen) {
  return exported_call([&] {
    require_pointer(pulTimeLen, "pulTimeLen");
    check_provider("SAF_Ext_TspGetTime", SAF_Ext_TspGetTime(pucTime, pulTimeLen));
  });
}

uint32_t SOF_Ext_TspGetStamp(const char* pszContainerName, const uint8_t* pucInData, uint32_t ulInDataLen,
                             uint8_t* pucStampResp, uint32_t* pulStampRespLen) {
  return exported_call([&] {
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(pucInData, "pucInData");
    require_pointer(pulStampRespLen, "pulStampRespLen");
    check_provider("SAF_Ext_TspGetStamp",
                   SAF_Ext_TspGetStamp(g_hAppHandle.load(), pszContainerName, text_length(pszContainerName),
                                       pucInData, ulInDataLen, pucStampResp, pulStampRespLen));
  });
}

uint32_t SOF_Ext_TspVerifyStamp(const uint8_t* pucInData, uint32_t ulInDataLen, const uint8_t* pucStamp,
                                uint32_t ulStampLen, const uint8_t* pucTsaCert, uint32_t ulTsaCertLen,
                                uint8_t* pucTimeInfo, uint32_t* pulTimeInfoLen) {
  return exported_call([&] {
    require_pointer(pucInData, "pucInData");
    require_pointer(pucStamp, "pucStamp");
    require_pointer(pucTsaCert, "pucTsaCert");
    require_pointer(pulTimeInfoLen, "pulTimeInfoLen");
    check_provider("SAF_Ext_TspVerifyStamp",
                   SAF_Ext_TspVerifyStamp(pucInData, ulInDataLen, pucStamp, ulStampLen, pucTsaCert,
                                          ulTsaCertLen, pucTimeInfo, pulTimeInfoLen));
  });
}

uint32_t SOF_Ext_TspGetFileStamp(const char* pszContainerName, const uint8_t* pucInFile, uint32_t ulInFileLen,
                                 uint8_t* pucStampResp, uint32_t* pulStampRespLen) {
  return exported_call([&] {
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(pucInFile, "pucInFile");
    require_pointer(pulStampRespLen, "pulStampRespLen");
    check_provider(
        "SAF_Ext_TspGetFileStamp",
        SAF_Ext_TspGetFileStamp(g_hAppHandle.load(), pszContainerName, text_length(pszContainerName),
                                pucInFile, ulInFileLen, pucStampResp, pulStampRespLen));
  });
}

uint32_t SOF_Ext_TspVerifyFileStamp(const uint8_t* pucInFile, uint32_t ulInFileLen, const uint8_t* pucStamp,
                                    uint32_t ulStampLen, const uint8_t* pucTsaCert, uint32_t ulTsaCertLen,
                                    uint8_t* pucTimeInfo, uint32_t* pulTimeInfoLen) {
  return exported_call([&] {
    require_pointer(pucInFile, "pucInFile");
    require_pointer(pucStamp, "pucStamp");
    require_pointer(pucTsaCert, "pucTsaCert");
    require_pointer(pulTimeInfoLen, "pulTimeInfoLen");
    check_provider("SAF_Ext_TspVerifyFileStamp",
                   SAF_Ext_TspVerifyFileStamp(pucInFile, ulInFileLen, pucStamp, ulStampLen, pucTsaCert,
                                              ulTsaCertLen, pucTimeInfo, pulTimeInfoLen));
  });
}

namespace {

// Opens the application handle if necessary. Sic: if that fails, callers return success without calling the
// provider, and the log line always names SOF_Ext_GM_Tsp_GetTime.
bool provider_is_open() {
  const uint32_t result = SI_Initialize();
  if (result != SOR_OK) {
    LOG_FAILURE("SOF_Ext_GM_Tsp_GetTime -> SI_Initialize, rv = %d \n", static_cast<int32_t>(result));
  }
  return result == SOR_OK;
}

}  // namespace

uint32_t SOF_Ext_GM_Tsp_GetTime(uint8_t* pucTime, uint32_t* pulTimeLen) {
  return exported_call([&] {
    require_pointer(pulTimeLen, "pulTimeLen");
    if (!provider_is_open()) return;
    check_provider("SAF_Ext_GM_Tsp_GetTime",
                   SAF_Ext_GM_Tsp_GetTime(g_hAppHandle.load(), pucTime, pulTimeLen));
  });
}

uint32_t SOF_Ext_GM_Tsp_SealTimeStamp(uint32_t ulSelector, const uint8_t* pucInData, uint32_t ulInDataLen,
                                      uint8_t* pucStampResp, uint32_t* pulStampRespLen) {
  return exported_call([&] {
    require_pointer(pucInData, "pucInData");
    require_pointer(pulStampRespLen, "pulStampRespLen");
    if (!provider_is_open()) return;
    check_provider("SAF_Ext_GM_Tsp_SealTimeStamp",
                   SAF_Ext_GM_Tsp_SealTimeStamp(g_hAppHandle.load(), ulSelector, pucInData, ulInDataLen,
                                                pucStampResp, pulStampRespLen));
  });
}

uint32_t SOF_Ext_GM_Tsp_VerifyTimeStamp(const uint8_t* pucInData, uint32_t ulInDataLen,
                                        const uint8_t* pucStamp, uint32_t ulStampLen,
                                        const uint8_t* pucTsaCert, uint32_t ulTsaCertLen,
                                        uint8_t* pucTimeInfo, uint32_t* pulTimeInfoLen) {
  return exported_call([&] {
    require_pointer(pucInData, "pucInData");
    require_pointer(pucStamp, "pucStamp");
    require_pointer(pucTsaCert, "pucTsaCert");
    require_pointer(pulTimeInfoLen, "pulTimeInfoLen");
    if (!provider_is_open()) return;
    check_provider(
        "SAF_Ext_GM_Tsp_VerifyTimeStamp",
        SAF_Ext_GM_Tsp_VerifyTimeStamp(g_hAppHandle.load(), pucInData, ulInDataLen, pucStamp, ulStampLen,
                                       pucTsaCert, ulTsaCertLen, pucTimeInfo, pulTimeInfoLen));
  });
}

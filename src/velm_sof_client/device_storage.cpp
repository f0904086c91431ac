// Files and labels on the device, control commands, device list and product version, through the signature
// provider. Sic: these functions do not open the application handle; the provider may receive a null handle.
#include "velm_sof_client/provider_call.h"

using namespace velm;

uint32_t SOF_Ext_EnumFile(const char* pszContainerName, char* pszFileNameList, uint32_t* pulFileNameListLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_EnumFile [%s] pszFileNameList=0x%08X pulFileNameListLen=0x%08X\n",
              or_upper_null(pszContainerName), low_32_bits(pszFileNameList), low_32_bits(pulFileNameListLen));
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(pulFileNameListLen, "pulFileNameListLen");
    check_provider("SAF_Ext_EnumFile", SAF_Ext_EnumFile(g_hAppHandle.load(), pszContainerName,
                                                        pszFileNameList, pulFileNameListLen));
  });
}

uint32_t SOF_Ext_CreateFile(const char* pszContainerName, const char* pszFileName, uint32_t fileLen,
                            uint32_t readRights, uint32_t writeRights) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_CreateFile [%s] pszFileName=[%s] fileLen=%u readRights=%u writeRights=%u\n",
              or_upper_null(pszContainerName), or_upper_null(pszFileName), fileLen, readRights, writeRights);
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(pszFileName, "pszFileName");
    check_provider("SAF_Ext_CreateFile", SAF_Ext_CreateFile(g_hAppHandle.load(), pszContainerName,
                                                            pszFileName, fileLen, readRights, writeRights));
  });
}

uint32_t SOF_Ext_DeleteFile(const char* pszContainerName, const char* pszFileName) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_DeleteFile [%s] pszFileName=[%s]\n", or_upper_null(pszContainerName),
              or_upper_null(pszFileName));
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(pszFileName, "pszFileName");
    check_provider("SAF_Ext_DeleteFile",
                   SAF_Ext_DeleteFile(g_hAppHandle.load(), pszContainerName, pszFileName));
  });
}

uint32_t SOF_Ext_ReadFile(const char* pszContainerName, const char* pszFileName, uint32_t offset,
                          uint32_t readLen, uint8_t* pFileData, uint32_t* pulReadLen) {
  return exported_call([&] {
    LOG_ENTRY(
        "SOF_Ext_ReadFile [%s] pszFileName=[%s] offset=%u readLen=%u pFileData=0x%08X pulReadLen=0x%08X\n",
        or_upper_null(pszContainerName), or_upper_null(pszFileName), offset, readLen, low_32_bits(pFileData),
        low_32_bits(pulReadLen));
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(pszFileName, "pszFileName");
    check_provider("SAF_Ext_ReadFile", SAF_Ext_ReadFile(g_hAppHandle.load(), pszContainerName, pszFileName,
                                                        offset, readLen, pFileData, pulReadLen));
  });
}

uint32_t SOF_Ext_WriteFile(const char* pszContainerName, const char* pszFileName, uint32_t offset,
                           const uint8_t* pFileData, uint32_t fileDataLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_WriteFile [%s] pszFileName=[%s] offset=%u pFileData=0x%08X fileDataLen=%u\n",
              or_upper_null(pszContainerName), or_upper_null(pszFileName), offset, low_32_bits(pFileData),
              fileDataLen);
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(pszFileName, "pszFileName");
    require_pointer(pFileData, "pFileData");
    check_provider("SAF_Ext_WriteFile", SAF_Ext_WriteFile(g_hAppHandle.load(), pszContainerName, pszFileName,
                                                          offset, pFileData, fileDataLen));
  });
}

uint32_t SOF_Ext_GetFileAttribute(const char* pszContainerName, const char* pszFileName, uint32_t* pFileSize,
                                  uint32_t* pReadRights, uint32_t* pWriteRights) {
  return exported_call([&] {
    LOG_ENTRY(
        "SOF_Ext_GetFileAttribute [%s] pszFileName=[%s] pFileSize=0x%08X pReadRights=0x%08X "
        "pWriteRights=0x%08X\n",
        or_upper_null(pszContainerName), or_upper_null(pszFileName), low_32_bits(pFileSize),
        low_32_bits(pReadRights), low_32_bits(pWriteRights));
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(pszFileName, "pszFileName");
    check_provider("SAF_Ext_GetFileAttribute",
                   SAF_Ext_GetFileAttribute(g_hAppHandle.load(), pszContainerName, pszFileName, pFileSize,
                                            pReadRights, pWriteRights));
  });
}

uint32_t SOF_Ext_Control(const char* pszContainerName, const char* szControlName,
                         const char* szControlCommand) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_Control pszContainerName:[%s] szControlName=%s szControlCommand=%s\n",
              or_upper_null(pszContainerName), or_upper_null(szControlName), or_upper_null(szControlCommand));
    require_pointer(szControlName, "szControlName");
    require_pointer(szControlCommand, "szControlCommand");
    check_provider(
        "SAF_Ext_Control",
        SAF_Ext_Control(g_hAppHandle.load(), pszContainerName, text_length(pszContainerName), szControlName,
                        text_length(szControlName), szControlCommand, text_length(szControlCommand)));
  });
}

uint32_t SOF_Ext_EnumDevice(uint8_t* pDeviceInfo, uint32_t* puiDeviceInfoLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_EnumDevice\n");
    require_pointer(puiDeviceInfoLen, "puiDeviceInfoLen");
    check_provider("SAF_Ext_EnumDevice",
                   SAF_Ext_EnumDevice(g_hAppHandle.load(), pDeviceInfo, puiDeviceInfoLen));
  });
}

uint32_t SOF_Ext_ReadLabel(const char* pszContainerName, const char* pucName, uint32_t ulNameLen,
                           uint32_t ulType, uint8_t* pucOutData, uint32_t* pulOutDataLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_ReadLabel [%s] ulNameLen=%u ulType=%u\n", or_upper_null(pszContainerName), ulNameLen,
              ulType);
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(pucName, "pucName");
    require_pointer(pulOutDataLen, "pulOutDataLen");
    check_provider("SAF_Ext_ReadLabel",
                   SAF_Ext_ReadLabel(g_hAppHandle.load(), pszContainerName, text_length(pszContainerName),
                                     pucName, ulNameLen, ulType, pucOutData, pulOutDataLen));
  });
}

uint32_t SOF_Ext_GetProductVersion(void* pFirst, char* pszVersion, uint32_t uBufferSize, void* pFourth) {
  return exported_call([&] {
    require_pointer(pszVersion, "pszVersion");
    require_capacity(uBufferSize, 256, "uBufferSize");
    check_provider("SAF_Ext_GetProductVersion",
                   SAF_Ext_GetProductVersion(pFirst, pszVersion, uBufferSize, pFourth));
  });
}

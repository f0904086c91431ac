// Hash values through the signature provider, base64 through the signature provider or the crypto module.
#include "basekit/basic/base64.h"
#include "velm_sof_client/provider_call.h"

using namespace velm;

namespace {

// Fails with SOR_MEMORYERR if the length of the base64 text does not fit in 32 bits.
void require_countable_text(uint32_t data_length) {
  if (base64_length(data_length) > UINT32_MAX) fail(SOR_MEMORYERR);
}

}  // namespace

uint32_t SOF_Ext_HashData(uint32_t uiAlgorithmType, const uint8_t* pucInData, uint32_t ulInDataLen,
                          const uint8_t* pucPublicKey, uint32_t ulPublicKeyLen, const uint8_t* pucID,
                          uint32_t ulIDLen, uint8_t* pucOutData, uint32_t* pulOutDataLen) {
  return exported_call([&] {
    // Sic: the log format prints `ulPublicKeyLen` twice; the second value is `ulIDLen`.
    LOG_ENTRY("SOF_Ext_HashData uiAlgorithmType=0x%08X ulInDataLen=%u ulPublicKeyLen=%u ulPublicKeyLen=%u\n",
              uiAlgorithmType, ulInDataLen, ulPublicKeyLen, ulIDLen);
    require_pointer(pucInData, "pucInData");
    require_pointer(pulOutDataLen, "pulOutDataLen");

    uint32_t length = *pulOutDataLen;
    check_provider("SAF_Hash", SAF_Hash(uiAlgorithmType, pucInData, ulInDataLen, pucPublicKey, ulPublicKeyLen,
                                        pucID, ulIDLen, pucOutData, &length));
    *pulOutDataLen = length;
  });
}

uint32_t SOF_Ext_HashFile(const void* pFirst, const void* pSecond, const void* pThird, const void* pFourth,
                          uint32_t ulFifth, const char* pszInFilePath, uint8_t* pucOutData,
                          uint32_t* pulOutDataLen) {
  return exported_call([&] {
    require_pointer(pszInFilePath, "pszInFilePath");
    require_pointer(pulOutDataLen, "pulOutDataLen");
    check_provider("SAF_Ext_HashFile", SAF_Ext_HashFile(pFirst, pSecond, pThird, pFourth, ulFifth,
                                                        pszInFilePath, pucOutData, pulOutDataLen));
  });
}

uint32_t SOF_Base64Encode(const uint8_t* pOrignalData, uint32_t uOrignalDataLen, uint8_t* pEncodeData,
                          uint32_t* pEncodeDataLen) {
  return exported_call([&] {
    LOG_ENTRY(
        "SOF_Base64Encode pOrignalData=0x%08X uOrignalDataLen=%u pEncodeData=0x%08X pEncodeDataLen=0x%08X\n",
        low_32_bits(pOrignalData), uOrignalDataLen, low_32_bits(pEncodeData), low_32_bits(pEncodeDataLen));
    require_pointer(pOrignalData, "pOrignalData");
    require_pointer(pEncodeDataLen, "pEncodeDataLen");
    if (!pEncodeData) {
      *pEncodeDataLen = length_sum(uOrignalDataLen, uOrignalDataLen, 16u);
      return;
    }

    require_countable_text(uOrignalDataLen);
    uint32_t written = 0;
    const int32_t result = VELM_Openssl_Base64Encode(pOrignalData, uOrignalDataLen, pEncodeData, &written);
    if (result != 0) {
      LOG_FAILURE("SOF_Base64Encode->VELM_Openssl_Base64Encode rv=%d\n", result);
      fail(SOR_BASE64ENCODEERR);
    }
    *pEncodeDataLen = written;
  });
}

uint32_t SOF_Base64Decode(const uint8_t* pEncodeData, uint32_t uEncodeDataLen, uint8_t* pDecodeData,
                          uint32_t* pDecodeDataLen) {
  return exported_call([&] {
    LOG_ENTRY(
        "SOF_Base64Decode pEncodeData=0x%08X uEncodeDataLen=%u pDecodeData=0x%08X pDecodeDataLen=0x%08X\n",
        low_32_bits(pEncodeData), uEncodeDataLen, low_32_bits(pDecodeData), low_32_bits(pDecodeDataLen));
    require_pointer(pEncodeData, "pEncodeData");
    require_pointer(pDecodeDataLen, "pDecodeDataLen");
    if (!pDecodeData) {
      *pDecodeDataLen = uEncodeDataLen;
      return;
    }

    uint32_t written = 0;
    const int32_t result = VELM_Openssl_Base64Decode(pEncodeData, uEncodeDataLen, pDecodeData, &written);
    if (result != 0) {
      LOG_FAILURE("SOF_Base64Decode->VELM_Openssl_Base64Decode rv=%d\n", result);
      fail(SOR_BASE64DECODEERR);
    }
    *pDecodeDataLen = written;
  });
}

uint32_t SOF_Ext_Base64Encode(const uint8_t* pucInData, uint32_t ulInDataLen, uint8_t* pucOutData,
                              uint32_t* pulOutDataLen) {
  return exported_call([&] {
    uint32_t length = pulOutDataLen ? *pulOutDataLen : 0;
    require_pointer(pucInData, "pucInData");
    require_countable_text(ulInDataLen);
    // Sic: the log line names the exported function, not SAF_Base64_Encode.
    check_provider("SOF_Ext_Base64Encode", SAF_Base64_Encode(pucInData, ulInDataLen, pucOutData, &length));
    store(pulOutDataLen, length);
  });
}

uint32_t SOF_Ext_Base64Decode(const uint8_t* pucInData, uint32_t ulInDataLen, uint8_t* pucOutData,
                              uint32_t* pulOutDataLen) {
  return exported_call([&] {
    uint32_t length = pulOutDataLen ? *pulOutDataLen : 0;
    require_pointer(pucInData, "pucInData");
    // Sic: the log line names the exported function, not SAF_Base64_Decode.
    check_provider("SOF_Ext_Base64Decode", SAF_Base64_Decode(pucInData, ulInDataLen, pucOutData, &length));
    store(pulOutDataLen, length);
  });
}

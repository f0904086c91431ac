// Digital envelopes (CMS EnvelopedData) and key operations of the local service, and the encrypt method.
#include "velm_sof_client/process_state.h"
#include "velm_sof_client/service_call.h"

using namespace velm;

uint32_t SOF_SetEncryptMethod(int32_t lEncMethod) {
  return exported_call([&]() noexcept {
    process_state.encrypt_method = lEncMethod;
    process_state.file_is_base64 = (lEncMethod & 0x10) != 0;
  });
}

uint32_t SOF_GetEncryptMethod(void) {
  return exported_call([]() noexcept { return static_cast<uint32_t>(process_state.encrypt_method.load()); });
}

uint32_t SOF_EncryptData(const uint8_t* pEncryptCert, uint32_t uEncryptCertLen, const uint8_t* pPlainData,
                         uint32_t uPlainDataLen, uint8_t* pEncryptedData, uint32_t* pEncryptedDataLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_EncryptData uEncryptCertLen=%u uPlainDataLen=%u\n", uEncryptCertLen, uPlainDataLen);
    require_pointer(pEncryptCert, "pEncryptCert");
    require_pointer(pPlainData, "pPlainData");
    require_pointer(pEncryptedDataLen, "pEncryptedDataLen");
    const uint32_t capacity = length_sum(uPlainDataLen, 1024u);
    if (!pEncryptedData) return store(pEncryptedDataLen, capacity);

    FrameCall call{"SOF_EncryptData", capacity};
    call.post(FunctionNumber::EncryptData,
              {FrameBytes{pEncryptCert, uEncryptCertLen}, FrameBytes{pPlainData, uPlainDataLen}});
    call.deliver(pEncryptedData, pEncryptedDataLen);
  });
}

uint32_t SOF_DecryptData(const char* pszContainerName, const uint8_t* pEncryptedData,
                         uint32_t uEncryptedDataLen, uint8_t* pPlainData, uint32_t* pPlainDataLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_DecryptData [%s] pEncryptedData=0x%p uEncryptedDataLen=%u pPlainData=0x%p\n",
              or_lower_null(pszContainerName), static_cast<const void*>(pEncryptedData), uEncryptedDataLen,
              static_cast<const void*>(pPlainData));
    require_pointer(pEncryptedData, "pEncryptedData");
    require_pointer(pPlainDataLen, "pPlainDataLen");
    if (!pPlainData) return store(pPlainDataLen, uEncryptedDataLen);

    FrameCall call{"SOF_DecryptData", uEncryptedDataLen};
    call.post(FunctionNumber::DecryptData, {pszContainerName, FrameBytes{pEncryptedData, uEncryptedDataLen}});
    call.deliver(pPlainData, pPlainDataLen);
  });
}

uint32_t SOF_Ext_AsymmEncryptData(const uint8_t* pKeyData, uint32_t uKeyDataLen, const uint8_t* pInData,
                                  uint32_t uInDataLen, uint8_t* pOutData, uint32_t* pOutDataLen) {
  return exported_call([&] {
    // Sic: the capacity depends on the length of the key, not on that of the data.
    const uint32_t capacity = length_sum(uKeyDataLen, 1024u);
    if (!pOutData) return store(pOutDataLen, capacity);

    FrameCall call{"SOF_Ext_AsymmEncryptData", capacity};
    call.post(FunctionNumber::AsymmEncryptData,
              {FrameBytes{pKeyData, uKeyDataLen}, FrameBytes{pInData, uInDataLen}});
    call.deliver(pOutData, pOutDataLen);
  });
}

uint32_t SOF_Ext_AsymmDecryptData(const char* pszContainerName, uint32_t uKeySpec, const uint8_t* pInData,
                                  uint32_t uInDataLen, uint8_t* pOutData, uint32_t* pOutDataLen) {
  return exported_call([&] {
    const uint32_t capacity = length_sum(uInDataLen, 1024u);
    if (!pOutData) return store(pOutDataLen, capacity);

    FrameCall call{"SOF_Ext_AsymmDecryptData", capacity};
    call.post(FunctionNumber::AsymmDecryptData,
              {pszContainerName, uKeySpec, FrameBytes{pInData, uInDataLen}});
    call.deliver(pOutData, pOutDataLen);
  });
}

uint32_t SOF_Ext_ExportPublicKey(const char* pszContainerName, uint32_t uKeySpec, uint8_t* pPublicKey,
                                 uint32_t* pPublicKeyLen) {
  return exported_call([&] {
    if (!pPublicKey) return store(pPublicKeyLen, 1024);

    FrameCall call{"SAF_Ext_ExportPublicKey", 1024};  // Sic: log lines print SAF_, not SOF_
    call.post(FunctionNumber::ExportPublicKey, {pszContainerName, uKeySpec});
    call.deliver(pPublicKey, pPublicKeyLen);
  });
}

// Symmetric encryption: data with the crypto module, files with the signature provider.
#include <memory>

#include "protocol/identifiers.h"
#include "provider_abi/velm_openssl_api.h"
#include "velm_sof_client/provider_call.h"

using namespace velm;

namespace {

struct ContextRelease {
  void operator()(void* context) const { VELM_Openssl_SymmReleaseCtx(context); }
};
using CipherContext = std::unique_ptr<void, ContextRelease>;

// Encryption or decryption of data.
struct Direction {
  const char* function;
  uint32_t flag;
  const char* operation_name;
  int32_t (*operation)(void* context, const uint8_t* input, uint32_t input_length, uint8_t* output,
                       uint32_t* output_length);
};

uint32_t transform(const Direction& direction, uint32_t uSymmAlg, uint32_t uPaddingMode, const uint8_t* pIV,
                   const uint8_t* pbSymmKey, uint32_t uSymmKeyLen, const uint8_t* pbInData,
                   uint32_t uInDataLen, uint8_t* pbOutData, uint32_t* puOutDataLen) {
  return exported_call([&] {
    LOG_ENTRY("%s uSymmAlg=0x%08X uPaddingMode=%u uSymmKeyLen=%u uInDataLen=%u\n", direction.function,
              uSymmAlg, uPaddingMode, uSymmKeyLen, uInDataLen);
    require_pointer(pbSymmKey, "pbSymmKey");
    require_pointer(pbInData, "pbInData");
    require_pointer(pbOutData, "pbOutData");
    require_pointer(puOutDataLen, "puOutDataLen");

    void* acquired = nullptr;
    int32_t result =
        VELM_Openssl_SymmAcquireContext(&acquired, number_of(protocol::cipher_of(uSymmAlg)), direction.flag,
                                        pbSymmKey, uSymmKeyLen, pIV, number_of(protocol::mode_of(uSymmAlg)));
    if (result != 0) {
      LOG_FAILURE(
          "%s->VELM_Openssl_SymmAcquireContext goa_rv=%d uSymmAlg=0x%08X uPaddingMode=%u pIV=0x%08X "
          "uSymmKeyLen=%u uInDataLen=%u\n",
          direction.function, result, uSymmAlg, uPaddingMode, low_32_bits(pIV), uSymmKeyLen, uInDataLen);
      fail(SOR_INDATAERR);
    }
    const CipherContext context{acquired};

    uint32_t written = 0;
    result = direction.operation(context.get(), pbInData, uInDataLen, pbOutData, &written);
    if (result != 0) {
      LOG_FAILURE("%s->%s goa_rv=%d uSymmAlg=0x%08X uPaddingMode=%u uSymmKeyLen=%u uInDataLen=%u\n",
                  direction.function, direction.operation_name, result, uSymmAlg, uPaddingMode, uSymmKeyLen,
                  uInDataLen);
      fail(SOR_UNKNOWNERR);
    }
    *puOutDataLen = written;
  });
}

// Encryption or decryption of files.
struct FileDirection {
  const char* function;
  const char* provider_name;
  uint32_t (*provider)(uint32_t algorithm, const uint8_t* iv, uint32_t iv_length, const uint8_t* key,
                       uint32_t key_length, const char* input_path, const char* output_path);
};

uint32_t transform_file(const FileDirection& direction, uint32_t ulSymmAlg, const uint8_t* pbIV,
                        uint32_t ulIVLen, const uint8_t* pbSymmKey, uint32_t ulSymmKeyLen,
                        const char* pszInFilePath, const char* pszOutFilePath) {
  return exported_call([&] {
    // Sic: the log format prints `ulIVLen` twice; the second value is `ulSymmKeyLen`.
    LOG_ENTRY("%s ulSymmAlg=0x%08X ulIVLen=%u ulIVLen=%u pszInFilePath=[%s] pszOutFilePath=[%s]\n",
              direction.function, ulSymmAlg, ulIVLen, ulSymmKeyLen, or_upper_null(pszInFilePath),
              or_upper_null(pszOutFilePath));
    require_pointer(pbSymmKey, "pbSymmKey");
    require_pointer(pszInFilePath, "pszInFilePath");
    require_pointer(pszOutFilePath, "pszOutFilePath");

    check_provider(direction.provider_name, direction.provider(ulSymmAlg, pbIV, ulIVLen, pbSymmKey,
                                                               ulSymmKeyLen, pszInFilePath, pszOutFilePath));
  });
}

}  // namespace

uint32_t SOF_Ext_SymmEncrypt(uint32_t uSymmAlg, uint32_t uPaddingMode, const uint8_t* pIV,
                             const uint8_t* pbSymmKey, uint32_t uSymmKeyLen, const uint8_t* pbInData,
                             uint32_t uInDataLen, uint8_t* pbOutData, uint32_t* puOutDataLen) {
  return transform({"SOF_Ext_SymmEncrypt", 1, "VELM_Openssl_Encrypt", VELM_Openssl_Encrypt}, uSymmAlg,
                   uPaddingMode, pIV, pbSymmKey, uSymmKeyLen, pbInData, uInDataLen, pbOutData, puOutDataLen);
}

uint32_t SOF_Ext_SymmDecrypt(uint32_t uSymmAlg, uint32_t uPaddingMode, const uint8_t* pIV,
                             const uint8_t* pbSymmKey, uint32_t uSymmKeyLen, const uint8_t* pbInData,
                             uint32_t uInDataLen, uint8_t* pbOutData, uint32_t* puOutDataLen) {
  return transform({"SOF_Ext_SymmDecrypt", 0, "VELM_Openssl_Decrypt", VELM_Openssl_Decrypt}, uSymmAlg,
                   uPaddingMode, pIV, pbSymmKey, uSymmKeyLen, pbInData, uInDataLen, pbOutData, puOutDataLen);
}

uint32_t SOF_Ext_SymmEncryptFile(uint32_t ulSymmAlg, const uint8_t* pbIV, uint32_t ulIVLen,
                                 const uint8_t* pbSymmKey, uint32_t ulSymmKeyLen, const char* pszInFilePath,
                                 const char* pszOutFilePath) {
  return transform_file({"SOF_Ext_SymmEncryptFile", "SAF_Ext_SymmEncryptFile", SAF_Ext_SymmEncryptFile},
                        ulSymmAlg, pbIV, ulIVLen, pbSymmKey, ulSymmKeyLen, pszInFilePath, pszOutFilePath);
}

uint32_t SOF_Ext_SymmDecryptFile(uint32_t ulSymmAlg, const uint8_t* pbIV, uint32_t ulIVLen,
                                 const uint8_t* pbSymmKey, uint32_t ulSymmKeyLen, const char* pszInFilePath,
                                 const char* pszOutFilePath) {
  return transform_file({"SOF_Ext_SymmDecryptFile", "SAF_Ext_SymmDecryptFile", SAF_Ext_SymmDecryptFile},
                        ulSymmAlg, pbIV, ulIVLen, pbSymmKey, ulSymmKeyLen, pszInFilePath, pszOutFilePath);
}

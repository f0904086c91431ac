// User certificates, and items and validation of a certificate.
#include "velm_sof_client/algorithm.h"
#include "velm_sof_client/provider_call.h"
#include "velm_sof_client/service_call.h"

using namespace velm;

namespace {

constexpr uint32_t kCertificateSizeAnswer = 2048;

// Writes a container's certificate to the caller's buffer, or answers the size query if the buffer is null.
// Sic: the size query returns 2048, although a certificate may have up to 3072 bytes.
void export_certificate(const char* function, FunctionNumber number, const char* container_name,
                        uint8_t* certificate, uint32_t* certificate_length) {
  if (!certificate) return store(certificate_length, kCertificateSizeAnswer);

  JsonCall call{function, 4096};
  call.post(R"({"funcid":%d,"ContainerName":"%s"})", number, container_name);
  call.deliver_base64(call.result().member("UserCert"), certificate, certificate_length);
}

}  // namespace

uint32_t SOF_ExportUserCert(const char* pszContainerName, uint8_t* pCertData, uint32_t* pCertDataLen) {
  return exported_call([&] {
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(pCertDataLen, "pCertDataLen");
    LOG_ENTRY("SOF_ExportUserCert [%s]\n", pszContainerName);
    export_certificate("SOF_ExportUserCert", FunctionNumber::ExportUserCert, pszContainerName, pCertData,
                       pCertDataLen);
  });
}

uint32_t SOF_ExportExChangeUserCert(const char* pszContainerName, uint8_t* pCertData,
                                    uint32_t* pCertDataLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_ExportExChangeUserCert [%s]\n", or_upper_null(pszContainerName));
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(pCertDataLen, "pCertDataLen");
    export_certificate("SOF_ExportExChangeUserCert", FunctionNumber::ExportExChangeUserCert, pszContainerName,
                       pCertData, pCertDataLen);
  });
}

uint32_t SOF_GetCertInfo(const uint8_t* pCert, uint32_t uCertLen, uint32_t uInfoType, uint8_t* pCertInfo,
                         uint32_t* pCertInfoLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_GetCertInfo uCertLen=%u uInfoType=0x%08X\n", uCertLen, uInfoType);
    require_pointer(pCert, "pCert");
    require_pointer(pCertInfoLen, "pCertInfoLen");
    if (!pCertInfo) {
      *pCertInfoLen = uCertLen;
      return;
    }
    FrameCall call{"SOF_GetCertInfo", uCertLen};
    call.post(FunctionNumber::GetCertInfo, {FrameBytes{pCert, uCertLen}, uInfoType});
    call.deliver(pCertInfo, pCertInfoLen);
  });
}

uint32_t SOF_GetCertInfoByOid(const uint8_t* pCert, uint32_t uCertLen, const char* szOID, uint8_t* pOIDValue,
                              uint32_t* pOIDValueLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_GetCertInfoByOid uCertLen=%u szOID=[%s]\n", uCertLen, or_upper_null(szOID));
    require_pointer(pCert, "pCert");
    require_pointer(szOID, "szOID");
    require_pointer(pOIDValueLen, "pOIDValueLen");

    JsonCall call{"SOF_GetCertInfoByOid", 1024};
    call.post(R"({"funcid":%d,"Cert":"%s","Oid":"%s"})", FunctionNumber::GetCertInfoByOid,
              Base64{pCert, uCertLen}, szOID);
    call.deliver_base64(call.result().member("Info"), pOIDValue, pOIDValueLen);
  });
}

uint32_t SOF_ValidateCert(const uint8_t* pCert, uint32_t uCertLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_ValidateCert uCertLen=%d\n", static_cast<int32_t>(uCertLen));
    require_pointer(pCert, "pCert");

    JsonCall call{"SOF_ValidateCert", 128};
    call.post(R"({"funcid":%d,"Cert":"%s"})", FunctionNumber::ValidateCert, Base64{pCert, uCertLen});
  });
}

uint32_t SOF_GetCertAlg(const uint8_t* pCert, uint32_t uCertLen, uint32_t* pAlgType) {
  return exported_call([&] {
    LOG_ENTRY("SOF_GetCertAlg uCertLen=%u\n", uCertLen);
    require_pointer(pCert, "pCert");
    require_pointer(pAlgType, "pAlgType");
    *pAlgType = 0;

    constexpr uint32_t kRsa2048KeyBytes = 270;
    const CertificateRecord record =
        parse_certificate("SOF_GetCertAlg", {pCert, uCertLen}, kKeyTypeAndLength);
    if (record.public_key_type != kRsaKey) {
      *pAlgType = 40;
    } else if (record.public_key_length == kRsa2048KeyBytes) {
      *pAlgType = 10;
    }
  });
}

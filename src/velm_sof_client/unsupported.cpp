// Unsupported functions for certificates and certificate requests. They are exported so that applications
// link; they write a log line and return SOR_NOTSUPPORTYETERR. Five more functions are unsupported and
// defined in the files of their groups: SOF_Ext_Login, SOF_Ext_Get_Config, SOF_SignDataXML,
// SOF_Ext_ParseSealInfo and SOF_Ext_GetSealInfoEPoint.
#include "velm_sof_client/exported_call.h"

using namespace velm;

uint32_t SOF_Ext_ParseCertInfo(const uint8_t*, uint32_t uCertLen, uint32_t infoFlags, const char* oids) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_ParseCertInfo uCertLen=%u infoFlags=0x%08X oids=[%s]\n", uCertLen, infoFlags,
              or_upper_null(oids));
    return SOR_NOTSUPPORTYETERR;
  });
}

uint32_t SOF_Ext_GetCertChain(const uint8_t*, uint32_t uCertLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_GetCertChain uCertLen=%u\n", uCertLen);
    return SOR_NOTSUPPORTYETERR;
  });
}

uint32_t SOF_Ext_GenCSR(const char* pszContainerName) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_GenCSR, pszContainerName=[%s]\n", as_given(pszContainerName));
    return SOR_NOTSUPPORTYETERR;
  });
}

uint32_t SOF_Ext_ParseCSR(const uint8_t*, uint32_t csrDataLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_ParseCSR, csrDataLen=%u\n", csrDataLen);
    return SOR_NOTSUPPORTYETERR;
  });
}

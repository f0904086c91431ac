// Calls that exist so that applications link, and that always answer "not supported".
#include "velm_sof_client/exported_call.h"

using namespace velm;

uint32_t SOF_Ext_ParseCertInfo(const uint8_t*, uint32_t uCertLen, uint32_t infoFlags, const char* oids) {
  LOG_ENTRY("SOF_Ext_ParseCertInfo uCertLen=%u infoFlags=0x%08X oids=[%s]\n", uCertLen, infoFlags,
            or_upper_null(oids));
  return SOR_NOTSUPPORTYETERR;
}

uint32_t SOF_Ext_GetCertChain(const uint8_t*, uint32_t uCertLen) {
  LOG_ENTRY("SOF_Ext_GetCertChain uCertLen=%u\n", uCertLen);
  return SOR_NOTSUPPORTYETERR;
}

uint32_t SOF_Ext_GenCSR(const char* pszContainerName) {
  LOG_ENTRY("SOF_Ext_GenCSR, pszContainerName=[%s]\n", as_given(pszContainerName));
  return SOR_NOTSUPPORTYETERR;
}

uint32_t SOF_Ext_ParseCSR(const uint8_t*, uint32_t csrDataLen) {
  LOG_ENTRY("SOF_Ext_ParseCSR, csrDataLen=%u\n", csrDataLen);
  return SOR_NOTSUPPORTYETERR;
}

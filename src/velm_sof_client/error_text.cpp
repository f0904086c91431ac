#include <cstring>

#include "velm_sof_client.h"
#include "velm_sof_client/error_texts.h"

void SOF_Ext_GetErrInfo(uint32_t code, char* pszErrInfo) {
  const char* text = velm::error_text(code);
  if (text && pszErrInfo) std::strcpy(pszErrInfo, text);
}

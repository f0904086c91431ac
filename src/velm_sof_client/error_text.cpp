#include <cstring>

#include "velm_sof_client/error_texts.h"
#include "velm_sof_client/exported_call.h"

using namespace velm;

void SOF_Ext_GetErrInfo(uint32_t code, char* pszErrInfo) {
  exported_call([&]() noexcept {
    const char* text = error_text(code);
    if (text && pszErrInfo) std::strcpy(pszErrInfo, text);
  });
}

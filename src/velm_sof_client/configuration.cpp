// Settings of the local service.
#include "velm_sof_client/service_call.h"

using namespace velm;

uint32_t SOF_Config(uint32_t uiSetType, const uint8_t* pSetVal, uint32_t uiValLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Config uiSetType=%u uiValLen=%u\n", uiSetType, uiValLen);
    log::dump(pSetVal, uiValLen);

    FrameCall call{"SOF_Config", 512};
    call.post(FunctionNumber::Config, {uiSetType, FrameBytes{pSetVal, uiValLen}}, FrameContent::code_only);
  });
}

uint32_t SOF_Ext_Get_Config(uint32_t uiSetType) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_Get_Config uiSetType=%u\n", uiSetType);
    return SOR_NOTSUPPORTYETERR;
  });
}

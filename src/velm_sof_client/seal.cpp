// Electronic seals, stored by the local service per container.
#include "velm_sof_client/service_call.h"

using namespace velm;

uint32_t SOF_Ext_EnumSeal(const char* pszContainerName, uint32_t* puSealCount) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_EnumSeal pszContainerName=[%s] puSealCount=0x%p\n", or_upper_null(pszContainerName),
              static_cast<const void*>(puSealCount));
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(puSealCount, "puSealCount");

    JsonCall call{"SOF_Ext_EnumSeal", 128};
    call.post(R"({"funcid":%d,"container":"%s"})", FunctionNumber::EnumSeal, pszContainerName);
    *puSealCount = static_cast<uint32_t>(call.result().member("sealCount").integer());
  });
}

uint32_t SOF_Ext_GetSeaInfo(const char* pszContainerName, uint32_t uSealIndex, uint32_t uInfoType,
                            uint8_t* pInfo, uint32_t* pInfoLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_GetSeaInfo pszContainerName=[%s] uSealIndex=%u uInfoType=%u\n",
              or_upper_null(pszContainerName), uSealIndex, uInfoType);
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(pInfoLen, "pInfoLen");

    JsonCall call{"SOF_Ext_GetSeaInfo", 65536};
    call.post(R"({"funcid":%d,"container":"%s","sealIdx":%u,"infoType":%u})", FunctionNumber::GetSeaInfo,
              pszContainerName, uSealIndex, uInfoType);
    call.deliver_base64(call.result(), pInfo, pInfoLen);
  });
}

// Also exported as SOF_Ext_GetSealInfoEPoint.
uint32_t SOF_Ext_ParseSealInfo(void) {
  return exported_call([]() noexcept { return SOR_NOTSUPPORTYETERR; });
}

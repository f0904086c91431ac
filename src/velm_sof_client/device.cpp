// Device information, user list and device type.
#include <string>

#include "basekit/basic/encoding.h"
#include "provider_abi/velm_dev_enum.h"
#include "velm_sof_client/service_call.h"

using namespace velm;

uint32_t SOF_GetDeviceInfo(const char* pszContainerName, int32_t iInfoType, uint8_t* pDeviceInfo,
                           uint32_t* pDeviceInfoLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_GetDeviceInfo pszContainerName=[%s] iInfoType=0x%08X\n", or_upper_null(pszContainerName),
              static_cast<uint32_t>(iInfoType));
    require_pointer(pDeviceInfo, "pDeviceInfo");
    require_pointer(pDeviceInfoLen, "pDeviceInfoLen");
    require_capacity(*pDeviceInfoLen, 256, "*pDeviceInfoLen");

    JsonCall call{"SOF_GetDeviceInfo", 256};
    call.post(R"({"funcid":%d,"ContainerName":"%s","Type":%d})", FunctionNumber::GetDeviceInfo,
              pszContainerName, iInfoType);

    const std::string_view info = call.result().member("DeviceInfo").text();
    std::memcpy(pDeviceInfo, info.data(), info.size());
    *pDeviceInfoLen = static_cast<uint32_t>(info.size());
  });
}

namespace {

std::string joined(const AnswerValue& names) {
  std::string list;
  const int count = names.size();
  for (int i = 0; i < count; ++i) {
    if (i > 0) list += "&&&";
    list += names.element(i).text();
  }
  return list;
}

uint32_t code_of_conversion(int32_t result) {
  switch (result) {
    case kUtilityDone:
      return SOR_OK;
    case kUtilityTooSmall:
      return SOR_INDATALENERR;
    case kUtilityOutOfMemory:
      return SOR_MEMORYERR;
    default:
      return SOR_FILEERR;
  }
}

}  // namespace

uint32_t SOF_GetUserList(char* pUserList, uint32_t* pUserListLen) {
  return exported_call([&]() -> uint32_t {
    constexpr uint32_t kCapacity = 2048;
    LOG_ENTRY("SOF_GetUserList *pUserListLen=%u\n", pUserListLen ? *pUserListLen : 0);
    require_pointer(pUserListLen, "pUserListLen");
    if (!pUserList) {
      *pUserListLen = kCapacity;
      return SOR_OK;
    }
    *pUserListLen = 0;

    JsonCall call{"SOF_GetUserList", kCapacity};
    call.post(R"({"funcid":%d,"ReturnMethod":0})", FunctionNumber::GetUserList);

    const AnswerValue names = call.result();
    if (!names.exists()) {
      pUserList[0] = '\0';
      return SOR_OK;
    }
    if (names.size() == 0) return SOR_OK;

    uint64_t length = kCapacity;
    const int32_t result = xencoding_utf8_to_gbk(joined(names).c_str(), pUserList, &length);
    if (result == kUtilityDone) *pUserListLen = static_cast<uint32_t>(length);
    return code_of_conversion(result);
  });
}

uint32_t SOF_Ext_GetDeviceType(uint32_t* pulDeviceType) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_GetDeviceType\n");
    constexpr uint32_t kNoDevice = 0xFFFFFFFF;
    store(pulDeviceType, kNoDevice);
    const auto* record = static_cast<const DeviceRecord*>(vde_get_last_device_config());
    if (record) store(pulDeviceType, record->device_type);
  });
}

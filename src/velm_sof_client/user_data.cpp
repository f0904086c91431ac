// User data files, stored by the local service per container.
#include <cstring>
#include <string_view>

#include "velm_sof_client/process_state.h"
#include "velm_sof_client/service_call.h"

using namespace velm;

uint32_t SOF_Ext_ReadUsrDataFile(const char* pszContainerName, uint32_t ulFileType, uint32_t ulFileIndex,
                                 uint32_t ulOffset, uint32_t ulReadLen, uint8_t* pReadData) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_ReadUsrDataFile [%s] ulFileType=%u ulFileIndex=%u ulOffset=%u ulReadLen=%u\n",
              or_upper_null(pszContainerName), ulFileType, ulFileIndex, ulOffset, ulReadLen);

    FrameCall call{"SOF_Ext_ReadUsrDataFile", length_sum(ulReadLen, 32u), ulReadLen};
    call.post(FunctionNumber::ReadUsrDataFile,
              {pszContainerName, ulFileType, ulFileIndex, ulOffset, ulReadLen});
    call.deliver(pReadData, nullptr);
  });
}

namespace {

// Returns the PIN up to its first zero byte, at most `length` bytes.
std::string_view pin_text(const uint8_t* pin, uint32_t length) {
  const auto* text = reinterpret_cast<const char*>(pin);
  return text ? std::string_view(text, strnlen(text, length)) : std::string_view();
}

}  // namespace

uint32_t SOF_Ext_WriteUsrDataFile(const char* pszContainerName, const uint8_t* pPin, uint32_t uPinLen,
                                  uint32_t ulFileType, uint32_t ulFileIndex, uint32_t ulOffset,
                                  uint32_t ulWriteLen, const uint8_t* pWriteData) {
  return exported_call([&] {
    LOG_ENTRY(
        "SOF_Ext_WriteUsrDataFile [%s] ulFileType=%u ulFileIndex=%u ulOffset=%u ulWriteLen=%u "
        "g_multiUserInDataFmt=%u\n",
        or_upper_null(pszContainerName), ulFileType, ulFileIndex, ulOffset, ulWriteLen, g_multiUserInDataFmt);

    JsonCall call{"SOF_Ext_WriteUsrDataFile", 128};
    call.post(R"({"funcid":%d,"ContainerName":"%s","Pin":"%s","FileType":%u,"FileIndex":%u,"Offset":%u,)"
              R"("WriteData":"%s"})",
              FunctionNumber::WriteUsrDataFile, pszContainerName, pin_text(pPin, uPinLen), ulFileType,
              ulFileIndex, ulOffset, Base64{pWriteData, ulWriteLen});
  });
}

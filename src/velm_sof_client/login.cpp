// Login, login state and PIN of a container.
#include "protocol/limits.h"
#include "provider_abi/velm_common.h"
#include "velm_sof_client/prompt_parent.h"
#include "velm_sof_client/service_call.h"

using namespace velm;

namespace {

// PIN entered in the prompt; wiped on destruction. The buffer has one byte more than the prompt writes, so
// the text always has a terminating zero.
class PromptedPin {
 public:
  PromptedPin() = default;
  PromptedPin(const PromptedPin&) = delete;
  PromptedPin& operator=(const PromptedPin&) = delete;
  ~PromptedPin() { wipe(text_, sizeof text_); }

  const char* ask() {
    constexpr uint32_t kLoginPrompt = 1;
    if (vc_input_pin(kLoginPrompt, low_32_bits(prompt_parent()), text_) != 0) fail(SOR_USERCANCELERR);
    return text_;
  }

 private:
  static constexpr size_t kPromptBytes = protocol::kLongestPin + 1;
  char text_[kPromptBytes + 1]{};
};

}  // namespace

uint32_t SOF_Login(const char* pszContainerName, const char* pszPassWd) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Login pszContainerName=[%s]\n", or_upper_null(pszContainerName));
    JsonCall call{"SOF_Login", 128};
    PromptedPin prompted;
    const Base64 pin{pszPassWd ? pszPassWd : prompted.ask()};
    call.post(R"({"funcid":%d,"UserName":"%s","PassWd":"%s"})", FunctionNumber::Login, pszContainerName, pin);
  });
}

uint32_t SOF_GetPinRetryCount(const char* pszContainerName, uint32_t* puRemainCount) {
  return exported_call([&] {
    LOG_ENTRY("SOF_GetPinRetryCount [%s]\n", as_given(pszContainerName));
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(puRemainCount, "puRemainCount");

    JsonCall call{"SOF_GetPinRetryCount", 128};
    call.post(R"({"funcid":%d,"ContainerName":"%s"})", FunctionNumber::GetPinRetryCount, pszContainerName);
    *puRemainCount = static_cast<uint32_t>(call.result().member("RetryCount").integer(0));
  });
}

uint32_t SOF_ChangePassWd(const char* pszContainerName, const char* szOldPassWord,
                          const char* szNewPassWord) {
  return exported_call([&] {
    LOG_ENTRY("SOF_ChangePassWd [%s]\n", or_upper_null(pszContainerName));
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(szOldPassWord, "szOldPassWord");
    require_text(szOldPassWord, "szOldPassWord");
    require_pointer(szNewPassWord, "szNewPassWord");
    require_text(szNewPassWord, "szNewPassWord");

    JsonCall call{"SOF_ChangePassWd", 128};
    call.post(R"({"funcid":%d,"ContainerName":"%s","OldPassWd":"%s","NewPassWd":"%s"})",
              FunctionNumber::ChangePassWd, pszContainerName, Base64{szOldPassWord}, Base64{szNewPassWord});
  });
}

uint32_t SOF_Ext_Login(const char* pszContainerName, uint32_t loginType, const uint8_t*,
                       uint32_t loginDataLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_Login->pszContainerName=[%s] loginType=%u loginDataLen=%u\n",
              or_upper_null(pszContainerName), loginType, loginDataLen);
    return SOR_NOTSUPPORTYETERR;
  });
}

uint32_t SOF_Ext_Logout(const char* pszContainerName, uint32_t ulLoginType) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_Logout [%s] ulLoginType=%u\n", or_lower_null(pszContainerName), ulLoginType);
    JsonCall call{"SOF_Ext_Logout", 128};
    call.post(R"({"funcid":%d,"containerName":"%s","loginType":%u})", FunctionNumber::Logout,
              pszContainerName, ulLoginType);
  });
}

uint32_t SOF_Ext_isLogin(const char* pszContainerName, uint32_t ulLoginType) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_isLogin [%s] ulLoginType=%u\n", as_given(pszContainerName), ulLoginType);
    JsonCall call{"SOF_Ext_isLogin", 128};
    call.post(R"({"funcid":%d,"containerName":"%s","loginType":%u})", FunctionNumber::isLogin,
              pszContainerName, ulLoginType);
  });
}

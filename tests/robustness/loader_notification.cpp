#include "robustness/loader_notification.h"

#include <winternl.h>

#include <stdexcept>

namespace velm::test {
namespace {

// As documented by Microsoft; the compiler has no header for them.
struct NotificationData {
  ULONG flags;
  const UNICODE_STRING* full_name;
  const UNICODE_STRING* base_name;
  void* base;
  ULONG size;
};

using Register = LONG NTAPI(ULONG flags, void(CALLBACK* notified)(ULONG, const void*, void*), void* context,
                            void** cookie);
using Unregister = LONG NTAPI(void* cookie);

constexpr ULONG kLoaded = 1;

template <class Function>
Function* loader_function(const char* name) {
  return reinterpret_cast<Function*>(
      reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
}

}  // namespace

LoaderNotification::LoaderNotification(std::wstring dll, std::function<void(HMODULE)> loaded)
    : dll_(std::move(dll)), loaded_(std::move(loaded)) {
  auto* const registration = loader_function<Register>("LdrRegisterDllNotification");
  if (!registration || registration(0, notified, this, &cookie_) != 0) {
    throw std::runtime_error("the system does not tell of loaded modules");
  }
}

LoaderNotification::~LoaderNotification() {
  loader_function<Unregister>("LdrUnregisterDllNotification")(cookie_);
}

void CALLBACK LoaderNotification::notified(ULONG reason, const void* data, void* context) {
  const auto& self = *static_cast<const LoaderNotification*>(context);
  const auto& loaded = *static_cast<const NotificationData*>(data);
  const std::wstring name(loaded.base_name->Buffer, loaded.base_name->Length / sizeof(wchar_t));
  if (reason == kLoaded && name == self.dll_) self.loaded_(static_cast<HMODULE>(loaded.base));
}

}  // namespace velm::test

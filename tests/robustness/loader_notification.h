// Reports a DLL after it is mapped and before its entry point runs, so that a test can patch its imports
// first.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

namespace velm::test {

class LoaderNotification {
 public:
  // Calls `loaded` under the loader lock, once for each load of a DLL with this name.
  LoaderNotification(std::wstring dll, std::function<void(HMODULE)> loaded);
  ~LoaderNotification();
  LoaderNotification(const LoaderNotification&) = delete;
  LoaderNotification& operator=(const LoaderNotification&) = delete;

 private:
  static void CALLBACK notified(ULONG reason, const void* data, void* context);

  std::wstring dll_;
  std::function<void(HMODULE)> loaded_;
  void* cookie_ = nullptr;
};

}  // namespace velm::test

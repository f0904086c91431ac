// Tells of a DLL between its loading and its entry point, so that a test can change what it imports before
// any of its code runs.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

namespace velm::test {

class LoaderNotification {
 public:
  // `loaded` runs under the loader's lock, once for each load of a DLL of this name.
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

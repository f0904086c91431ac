#pragma once

#include <windows.h>

#include <memory>

/** Owners of what Windows returns. */
namespace velm::permissions {

struct CloseHandleDeleter {
  void operator()(void* handle) const { CloseHandle(handle); }
};
/** An open handle; null if there is none. */
using Handle = std::unique_ptr<void, CloseHandleDeleter>;

struct LocalFreeDeleter {
  void operator()(void* memory) const { LocalFree(memory); }
};
using LocalMemory = std::unique_ptr<void, LocalFreeDeleter>;

}  // namespace velm::permissions

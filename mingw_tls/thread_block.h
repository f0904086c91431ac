// The block of one thread, as the two files of this folder share it.
#pragma once

#include <cstddef>

namespace velm::mingw_tls {

constexpr size_t kAlignment = 16;

// Room for one exception. The project's own exceptions and those of the standard library that report missing
// memory take less than 64 bytes, the header that the C++ runtime keeps in front of them 160.
struct alignas(kAlignment) ExceptionRoom {
  static constexpr size_t kBytes = 512;
  unsigned char bytes[kBytes];
};

struct ThreadBlock {
  // A handler may throw the next exception before the last one is released.
  static constexpr size_t kExceptions = 4;

  alignas(kAlignment) unsigned char variables[VELM_THREAD_VARIABLE_BYTES];
  ExceptionRoom exceptions[kExceptions];
  bool taken[kExceptions];
};

// The calling thread's block, allocated at the first call; null without memory or slot.
ThreadBlock* block_of_this_thread();

}  // namespace velm::mingw_tls

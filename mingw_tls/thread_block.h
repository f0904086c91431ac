// Per-thread block, shared by the source files of this folder.
#pragma once

#include <cstddef>

namespace velm::mingw_tls {

constexpr size_t kAlignment = 16;

// Memory for one exception. The project's exceptions and the standard library's out-of-memory exceptions have
// less than 64 bytes; the header of the C++ runtime has 160.
struct alignas(kAlignment) ExceptionRoom {
  static constexpr size_t kBytes = 512;
  unsigned char bytes[kBytes];
};

struct ThreadBlock {
  // More than one: a handler may throw before the current exception is released.
  static constexpr size_t kExceptions = 4;

  alignas(kAlignment) unsigned char variables[VELM_THREAD_VARIABLE_BYTES];
  ExceptionRoom exceptions[kExceptions];
  bool taken[kExceptions];
};

// Returns the block of the calling thread and allocates it on first use. Returns null if memory is exhausted
// or there is no slot.
ThreadBlock* block_of_this_thread();

}  // namespace velm::mingw_tls

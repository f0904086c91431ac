// What the library takes once and keeps, taken before a test watches its memory.
#pragma once

#include "support/allocation_faults.h"
#include "support/client_library.h"

namespace velm::test {

// On this thread: what the runtime keeps for it from its first call on, what the first log line takes, and
// the lock of the reserve for exceptions, which is made when an exception first finds no memory. No
// AllocationFaults may watch meanwhile.
inline void settle_memory(const ClientLibrary& library) {
  library.SOF_GenRandom(1, nullptr);
  AllocationFaults memory(library.module());
  memory.fail_at(1);
  library.SOF_GenRandom(1, nullptr);
}

}  // namespace velm::test

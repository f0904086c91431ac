// What the library takes once and keeps, taken before a test watches its memory.
#pragma once

#include "support/client_library.h"

namespace velm::test {

// On this thread: its storage, and what the first log line takes. No AllocationFaults may watch meanwhile.
inline void settle_memory(const ClientLibrary& library) {
  library.SOF_GenRandom(1, nullptr);
}

}  // namespace velm::test

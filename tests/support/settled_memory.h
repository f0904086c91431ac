// Triggers the library's one-time allocations before a test counts memory.
#pragma once

#include "support/client_library.h"

namespace velm::test {

// Allocates this thread's storage and the buffers of the first log line. No AllocationFaults may be active.
inline void settle_memory(const ClientLibrary& library) { library.SOF_GenRandom(1, nullptr); }

}  // namespace velm::test

// How many handles this process has open. Under Wine the GetProcessHandleCount of the system always says 0.
#pragma once

#include <cstddef>

namespace velm::test {

// Throws when the system does not tell.
size_t open_handles();

}  // namespace velm::test

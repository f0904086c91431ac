// The number of open handles of this process. Under Wine GetProcessHandleCount always returns 0.
#pragma once

#include <cstddef>

namespace velm::test {

// Throws if the system does not report the number.
size_t open_handles();

}  // namespace velm::test

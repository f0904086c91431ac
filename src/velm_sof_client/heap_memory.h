// Owning pointer to malloc() memory, for allocations whose failure is logged by the caller.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace velm {

struct HeapRelease {
  void operator()(void* memory) const { std::free(memory); }
};
using HeapMemory = std::unique_ptr<uint8_t[], HeapRelease>;

// Returns null if memory is exhausted. The memory is not initialised.
inline HeapMemory heap_memory(size_t size) { return HeapMemory(static_cast<uint8_t*>(std::malloc(size))); }

}  // namespace velm

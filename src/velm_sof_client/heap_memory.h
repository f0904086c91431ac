// Memory of the C runtime with an owner, for allocations whose failure the call itself reports.
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

// Null when memory runs out. Not cleared.
inline HeapMemory heap_memory(size_t size) { return HeapMemory(static_cast<uint8_t*>(std::malloc(size))); }

}  // namespace velm

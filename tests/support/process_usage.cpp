#include "support/process_usage.h"

#include <windows.h>
#include <psapi.h>

#include <vector>

#include "support/handle_count.h"

namespace velm::test {
namespace {

size_t private_bytes_now() {
  PROCESS_MEMORY_COUNTERS counters{};
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  return counters.PagefileUsage;
}

void add_blocks_of(HANDLE heap, ProcessUsage& usage) {
  if (!HeapLock(heap)) return;
  for (PROCESS_HEAP_ENTRY entry{}; HeapWalk(heap, &entry);) {
    if (!(entry.wFlags & PROCESS_HEAP_ENTRY_BUSY)) continue;
    ++usage.blocks;
    usage.block_bytes += entry.cbData;
  }
  HeapUnlock(heap);
}

std::string growth_of(const char* what, size_t before, size_t now, size_t allowed) {
  if (now <= before + allowed) return {};
  return std::string(what) + " grew from " + std::to_string(before) + " to " + std::to_string(now) + "; ";
}

}  // namespace

ProcessUsage ProcessUsage::now() {
  HANDLE heaps[64];
  const DWORD count = GetProcessHeaps(64, heaps);
  ProcessUsage usage{open_handles(), 0, 0, private_bytes_now()};
  for (DWORD i = 0; i < count && i < 64; ++i) add_blocks_of(heaps[i], usage);
  return usage;
}

std::string ProcessUsage::growth_since(const ProcessUsage& before, const Allowance& allowed) const {
  return growth_of("handles", before.handles, handles, allowed.handles) +
         growth_of("blocks", before.blocks, blocks, allowed.blocks) +
         growth_of("private bytes", before.private_bytes, private_bytes, allowed.private_bytes);
}

std::string ProcessUsage::text() const {
  return std::to_string(handles) + " handles, " + std::to_string(blocks) + " blocks of " +
         std::to_string(block_bytes) + " bytes, " + std::to_string(private_bytes) + " private bytes";
}

}  // namespace velm::test

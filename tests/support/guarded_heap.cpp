#include "support/guarded_heap.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>

#include <gtest/gtest.h>

#include "support/import_patch.h"

namespace velm::test {
namespace {

constexpr size_t kPageBytes = 4096, kAlignment = 16;
constexpr unsigned char kFill = 0xAA;
// Larger blocks are filled at both ends only: filling a megabyte per call would dominate the tests.
constexpr size_t kFilledBytes = 65536;

constexpr size_t rounded_up(size_t size, size_t unit) { return (size + unit - 1) / unit * unit; }

struct Block {
  unsigned char* pages;
  size_t accessible;  // bytes before the inaccessible page
  size_t size;

  unsigned char* data() const { return pages + accessible - rounded_up(size, kAlignment); }

  bool surroundings_untouched() const {
    const auto is_fill = [](unsigned char byte) { return byte == kFill; };
    return std::all_of(pages, data(), is_fill) && std::all_of(data() + size, pages + accessible, is_fill);
  }
};

// Never destroyed: modules free their blocks until the very end of the process.
struct Heap {
  std::mutex mutex;
  std::map<void*, Block> blocks;
};
Heap& heap = *new Heap;

void* guarded_malloc(size_t size) {
  if (size > SIZE_MAX / 2) return nullptr;
  const size_t accessible = std::max(rounded_up(size, kPageBytes), kPageBytes);
  auto* pages = static_cast<unsigned char*>(
      VirtualAlloc(nullptr, accessible + kPageBytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
  if (!pages) return nullptr;
  DWORD before;
  VirtualProtect(pages + accessible, kPageBytes, PAGE_NOACCESS, &before);
  const size_t filled = std::min(accessible, kFilledBytes);
  std::memset(pages, kFill, filled);
  std::memset(pages + accessible - filled, kFill, filled);

  const Block block{pages, accessible, size};
  const std::lock_guard lock(heap.mutex);
  heap.blocks.emplace(block.data(), block);
  return block.data();
}

// Returns false if the block was allocated before the module's heap was guarded.
bool take_out(void* data, Block& block) {
  const std::lock_guard lock(heap.mutex);
  const auto found = heap.blocks.find(data);
  if (found == heap.blocks.end()) return false;
  block = found->second;
  heap.blocks.erase(found);
  return true;
}

void guarded_free(void* data) {
  Block block;
  if (!take_out(data, block)) return std::free(data);
  EXPECT_TRUE(block.surroundings_untouched()) << "write outside a block of " << block.size << " bytes";
  VirtualFree(block.pages, 0, MEM_RELEASE);
}

void* guarded_calloc(size_t count, size_t size) {
  if (size != 0 && count > SIZE_MAX / size) return nullptr;
  void* data = guarded_malloc(count * size);
  return data ? std::memset(data, 0, count * size) : nullptr;
}

void* guarded_realloc(void* data, size_t size) {
  if (!data) return guarded_malloc(size);
  size_t kept = 0;
  {
    const std::lock_guard lock(heap.mutex);
    const auto found = heap.blocks.find(data);
    if (found == heap.blocks.end()) return std::realloc(data, size);
    kept = std::min(found->second.size, size);
  }
  void* moved = guarded_malloc(size);
  if (!moved) return nullptr;
  std::memcpy(moved, data, kept);
  guarded_free(data);
  return moved;
}

void replace(HMODULE module, const char* function, void* replacement) {
  if (!ImportPatch::is_imported(module, "msvcrt.dll", function)) return;
  ImportPatch(module, "msvcrt.dll", function, replacement).keep();
}

}  // namespace

void guard_heap_of(HMODULE module) {
  replace(module, "malloc", reinterpret_cast<void*>(&guarded_malloc));
  replace(module, "calloc", reinterpret_cast<void*>(&guarded_calloc));
  replace(module, "realloc", reinterpret_cast<void*>(&guarded_realloc));
  replace(module, "free", reinterpret_cast<void*>(&guarded_free));
}

void expect_no_guarded_blocks() {
  const std::lock_guard lock(heap.mutex);
  for (const auto& [data, block] : heap.blocks)
    ADD_FAILURE() << "a block of " << block.size << " bytes is left";
  heap.blocks.clear();
}

}  // namespace velm::test

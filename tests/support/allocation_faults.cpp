#include "support/allocation_faults.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <mutex>

#include "support/import_patch.h"

namespace velm::test {

struct AllocationFaults::Watch {
  std::mutex mutex;
  std::map<void*, size_t> blocks;
  std::vector<size_t> sizes;
  size_t bytes = 0;
  size_t peak_bytes = 0;
  size_t fail_countdown = 0;
  bool has_failed = false;
  bool fails_on = false;  // every later allocation fails too

  // The replaced functions: those of the C runtime, or of a guarded heap.
  decltype(&std::malloc) malloc = std::malloc;
  decltype(&std::calloc) calloc = std::calloc;
  decltype(&std::realloc) realloc = std::realloc;
  decltype(&std::free) free = std::free;
  std::vector<std::unique_ptr<ImportPatch>> patches;

  template <class Function>
  void replace(HMODULE module, const char* name, Function* replacement, Function*& original) {
    if (!ImportPatch::is_imported(module, "msvcrt.dll", name)) return;
    patches.push_back(std::make_unique<ImportPatch>(module, "msvcrt.dll", name, replacement));
    original = patches.back()->original<Function*>();
  }

  // Returns true if this allocation must fail.
  bool fails(size_t size) {
    const std::lock_guard lock(mutex);
    sizes.push_back(size);
    if (has_failed && fails_on) return true;
    if (fail_countdown == 0 || --fail_countdown > 0) return false;
    has_failed = true;
    return true;
  }

  void* took(void* block, size_t size) {
    const std::lock_guard lock(mutex);
    if (!block) return block;
    blocks[block] = size;
    bytes += size;
    peak_bytes = std::max(peak_bytes, bytes);
    return block;
  }

  void gave_back(void* block) {
    const std::lock_guard lock(mutex);
    const auto found = blocks.find(block);
    if (found == blocks.end()) return;
    bytes -= found->second;
    blocks.erase(found);
  }
};

namespace {

AllocationFaults::Watch* watch = nullptr;

void* watched_malloc(size_t size) {
  return watch->fails(size) ? nullptr : watch->took(watch->malloc(size), size);
}

void* watched_calloc(size_t count, size_t size) {
  return watch->fails(count * size) ? nullptr : watch->took(watch->calloc(count, size), count * size);
}

void* watched_realloc(void* block, size_t size) {
  if (watch->fails(size)) return nullptr;
  watch->gave_back(block);
  return watch->took(watch->realloc(block, size), size);
}

void watched_free(void* block) {
  watch->gave_back(block);
  watch->free(block);
}

}  // namespace

AllocationFaults::AllocationFaults(HMODULE module) : watch_(std::make_unique<Watch>()) {
  watch = watch_.get();
  watch->replace(module, "malloc", watched_malloc, watch->malloc);
  watch->replace(module, "calloc", watched_calloc, watch->calloc);
  watch->replace(module, "realloc", watched_realloc, watch->realloc);
  watch->replace(module, "free", watched_free, watch->free);
}

AllocationFaults::~AllocationFaults() {
  watch_->patches.clear();
  watch = nullptr;
}

void AllocationFaults::restart() {
  const std::lock_guard lock(watch_->mutex);
  watch_->blocks.clear();
  watch_->sizes.clear();
  watch_->bytes = watch_->peak_bytes = watch_->fail_countdown = 0;
  watch_->has_failed = false;
}

void AllocationFaults::fail(size_t nth, bool fails_on) {
  const std::lock_guard lock(watch_->mutex);
  watch_->fail_countdown = nth;
  watch_->has_failed = false;
  watch_->fails_on = fails_on;
}

bool AllocationFaults::has_failed() const {
  const std::lock_guard lock(watch_->mutex);
  return watch_->has_failed;
}

std::vector<size_t> AllocationFaults::sizes() const {
  const std::lock_guard lock(watch_->mutex);
  return watch_->sizes;
}

size_t AllocationFaults::outstanding() const {
  const std::lock_guard lock(watch_->mutex);
  return watch_->blocks.size();
}

size_t AllocationFaults::outstanding_bytes() const {
  const std::lock_guard lock(watch_->mutex);
  return watch_->bytes;
}

size_t AllocationFaults::peak_bytes() const {
  const std::lock_guard lock(watch_->mutex);
  return watch_->peak_bytes;
}

}  // namespace velm::test

#include "softtoken/tests/support/refused_allocation.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

constexpr int64_t kNone = INT64_MAX;

std::atomic<int64_t> g_countdown{kNone};
std::atomic<bool> g_refused{false};
thread_local bool t_spared = false;

bool refuses() {
  if (t_spared || g_countdown.fetch_sub(1) != 0) return false;
  g_refused = true;
  return true;
}

void* allocate(size_t size) { return refuses() ? nullptr : std::malloc(size == 0 ? 1 : size); }

}  // namespace

void* operator new(size_t size) {
  void* memory = allocate(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void* operator new(size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

extern "C" {

void* __real_aligned_alloc(size_t alignment, size_t size);

void* __wrap_aligned_alloc(size_t alignment, size_t size) {
  return refuses() ? nullptr : __real_aligned_alloc(alignment, size);
}

}  // extern "C"

namespace velm::token {

RefusedAllocation::RefusedAllocation(size_t number) {
  g_refused = false;
  g_countdown = static_cast<int64_t>(number);
}

RefusedAllocation::~RefusedAllocation() { g_countdown = kNone; }

bool RefusedAllocation::happened() const { return g_refused; }

void RefusedAllocation::spare_this_thread() { t_spared = true; }

}  // namespace velm::token

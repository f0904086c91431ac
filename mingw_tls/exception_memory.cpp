// Allocates exceptions on the heap, or in the thread's block if the heap is exhausted. Replaces the emergency
// pool of the C++ runtime, which is shared by all threads, uses a lock that allocates on first use, and leaks
// when a DLL is unloaded.
//
// Exceptions must be released by the thread that threw them. std::exception_ptr could move one to another
// thread, but does not link in the project's DLLs: it requires runtime functions that this file omits.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "mingw_tls/thread_block.h"

namespace velm::mingw_tls {
namespace {

// The runtime stores its header directly before the thrown object and expects it to be zeroed. The header has
// 160 bytes.
constexpr size_t kHeaderBytes = 192;

void* take_from_block(size_t size) {
  ThreadBlock* block = block_of_this_thread();
  if (!block || size > ExceptionRoom::kBytes) return nullptr;
  for (size_t i = 0; i < ThreadBlock::kExceptions; ++i) {
    if (block->taken[i]) continue;
    block->taken[i] = true;
    return block->exceptions[i].bytes;
  }
  return nullptr;
}

// Returns false if the memory is not part of the thread's block.
bool give_back_to_block(const void* memory) {
  ThreadBlock* block = block_of_this_thread();
  if (!block) return false;
  for (size_t i = 0; i < ThreadBlock::kExceptions; ++i) {
    if (block->exceptions[i].bytes != memory) continue;
    block->taken[i] = false;
    return true;
  }
  return false;
}

}  // namespace
}  // namespace velm::mingw_tls

extern "C" void* __cxa_allocate_exception(size_t size) noexcept {
  using namespace velm::mingw_tls;
  const size_t total = kHeaderBytes + size;
  void* memory = std::malloc(total);
  if (!memory) memory = take_from_block(total);
  if (!memory) std::terminate();
  std::memset(memory, 0, kHeaderBytes);
  return static_cast<unsigned char*>(memory) + kHeaderBytes;
}

extern "C" void __cxa_free_exception(void* object) noexcept {
  using namespace velm::mingw_tls;
  void* memory = static_cast<unsigned char*>(object) - kHeaderBytes;
  if (!give_back_to_block(memory)) std::free(memory);
}

// Memory for exceptions: from the heap, and from the thread's block when the heap is exhausted. The C++
// runtime's own reserve is shared by all threads, protected by a lock that allocates at its first use, and
// kept when a DLL is unloaded.
//
// An exception is released by the thread that threw it. std::exception_ptr, which could carry one to another
// thread, does not link in the project's DLLs: it needs functions of the runtime that this file leaves out.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "mingw_tls/thread_block.h"

namespace velm::mingw_tls {
namespace {

// The runtime keeps its header directly in front of the thrown object and expects zeros there. It takes 160
// bytes of these.
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

// False when the memory is not of the thread's block.
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

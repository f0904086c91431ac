// Replaces __emutls_get_address(), which compiled code calls to access thread-local variables, including the
// exception state of the C++ runtime. The compiler's version uses its POSIX threads library, which leaks
// memory, handles and a thread slot when a DLL is unloaded. This version uses a fiber-local slot: the system
// releases a thread's value when the thread ends, and the values of all threads when the slot is freed.
#include "mingw_tls/thread_storage.h"

#include <windows.h>

#include <atomic>
#include <cstdlib>

#include "mingw_tls/thread_block.h"

namespace velm {
namespace mingw_tls {
namespace {

// Control object that the compiler emits for a thread-local variable. cmake/check_mingw_dll.py reads the same
// fields at build time and rejects what would make place() abort.
struct Variable {
  size_t size;
  size_t alignment;
  std::atomic<size_t> end;    // offset of the end of the variable in ThreadBlock; 0 if not assigned
  const void* initial_value;  // null: zeros
};

constinit DWORD slot = FLS_OUT_OF_INDEXES;
constinit SRWLOCK placing = SRWLOCK_INIT;
constinit size_t placed_bytes = 0;

void WINAPI release(void* block) { std::free(block); }

// Assigns an offset to a variable.
size_t place(Variable& variable, size_t room) {
  AcquireSRWLockExclusive(&placing);
  size_t end = variable.end.load();
  if (end == 0) {
    end = placed_bytes += room;
    if (variable.initial_value || variable.alignment > kAlignment || end > sizeof ThreadBlock::variables) {
      std::abort();
    }
    variable.end.store(end);
  }
  ReleaseSRWLockExclusive(&placing);
  return end;
}

size_t offset_of(Variable& variable) {
  const size_t room = (variable.size + kAlignment - 1) / kAlignment * kAlignment;
  const size_t end = variable.end.load();
  return (end != 0 ? end : place(variable, room)) - room;
}

}  // namespace

ThreadBlock* block_of_this_thread() {
  if (slot == FLS_OUT_OF_INDEXES) return nullptr;
  void* block = FlsGetValue(slot);
  if (!block) {
    block = std::calloc(1, sizeof(ThreadBlock));
    if (block && !FlsSetValue(slot, block)) {
      std::free(block);
      return nullptr;
    }
  }
  return static_cast<ThreadBlock*>(block);
}

}  // namespace mingw_tls

void open_thread_storage() { mingw_tls::slot = FlsAlloc(mingw_tls::release); }

bool prepare_thread() { return mingw_tls::block_of_this_thread() != nullptr; }

void close_thread_storage() {
  if (mingw_tls::slot != FLS_OUT_OF_INDEXES) FlsFree(mingw_tls::slot);
  mingw_tls::slot = FLS_OUT_OF_INDEXES;
}

}  // namespace velm

extern "C" void* __emutls_get_address(velm::mingw_tls::Variable* variable) {
  auto* block = velm::mingw_tls::block_of_this_thread();
  if (!block) std::abort();  // unreachable after prepare_thread() has succeeded
  return block->variables + velm::mingw_tls::offset_of(*variable);
}

// The compiler reaches thread-local variables, the exception state of the C++ runtime among them, through
// __emutls_get_address. The compiler's own version uses its POSIX threads, which keep memory, handles and a
// thread slot when a DLL is unloaded. This one uses a fiber-local slot: the system releases its values when a
// thread ends and, when the slot is freed, those of all threads.
#include "mingw_tls/thread_storage.h"

#include <windows.h>

#include <atomic>
#include <cstdlib>

#include "mingw_tls/thread_block.h"

namespace velm {
namespace mingw_tls {
namespace {

// A thread-local variable as the compiler describes it. cmake/check_mingw_dll.py reads the same fields
// at build time and refuses what place() would.
struct Variable {
  size_t size;
  size_t alignment;
  std::atomic<size_t> end;    // offset behind the variable in each thread's block; 0: not placed yet
  const void* initial_value;  // null: zeros
};

constinit DWORD slot = FLS_OUT_OF_INDEXES;
constinit SRWLOCK placing = SRWLOCK_INIT;
constinit size_t placed_bytes = 0;

void WINAPI release(void* block) { std::free(block); }

// Assigns the variable its offset.
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
  if (!block) std::abort();  // no caller: see prepare_thread()
  return block->variables + velm::mingw_tls::offset_of(*variable);
}

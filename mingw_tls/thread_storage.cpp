// The compiler reaches thread-local variables, the exception state of the C++ runtime among them, through
// __emutls_get_address. The compiler's own version is built on its POSIX threads, which keep blocks, handles
// and a thread slot of the system for ever when a DLL is unloaded. This one lies in a fiber-local slot, whose
// values the system gives back for every thread that ends and, when the slot is freed, for all threads at
// once.
#include "mingw_tls/thread_storage.h"

#include <windows.h>

#include <atomic>
#include <cstdlib>

namespace __gnu_cxx {

// Gives back the memory that the C++ runtime holds for exceptions when there is none left; declared in no
// header.
void __freeres();

}  // namespace __gnu_cxx

namespace velm {
namespace {

// A thread-local variable as the compiler describes it.
struct Variable {
  size_t size;
  size_t alignment;
  std::atomic<size_t> end;    // where it ends in each thread's storage; 0: it has no place yet
  const void* initial_value;  // null: zeros
};

// A thread's storage is one block of zeros that holds all variables, so that a thread which has it will never
// lack memory for one of them.
constexpr size_t kStorageBytes = 128;
constexpr size_t kAlignment = 16;

constinit DWORD slot = FLS_OUT_OF_INDEXES;
constinit SRWLOCK placing = SRWLOCK_INIT;
constinit size_t placed_bytes = 0;

void WINAPI release(void* storage) { std::free(storage); }

// Null when memory runs out.
void* storage_of_this_thread() {
  void* storage = FlsGetValue(slot);
  if (storage) return storage;
  storage = std::calloc(1, kStorageBytes);
  if (storage && !FlsSetValue(slot, storage)) {
    std::free(storage);
    return nullptr;
  }
  return storage;
}

// Gives the variable its place. The few of the C++ runtime, which are zeros at first, have room; a DLL with
// others does not get past its first use of them.
size_t place(Variable& variable, size_t room) {
  AcquireSRWLockExclusive(&placing);
  size_t end = variable.end.load();
  if (end == 0) {
    end = placed_bytes += room;
    if (variable.initial_value || variable.alignment > kAlignment || end > kStorageBytes) std::abort();
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

bool open_thread_storage() {
  slot = FlsAlloc(release);
  return slot != FLS_OUT_OF_INDEXES;
}

bool prepare_thread() { return storage_of_this_thread() != nullptr; }

void close_thread_storage() {
  FlsFree(slot);
  __gnu_cxx::__freeres();
}

}  // namespace velm

extern "C" void* __emutls_get_address(velm::Variable* variable) {
  void* storage = velm::storage_of_this_thread();
  if (!storage) std::abort();
  return static_cast<char*>(storage) + velm::offset_of(*variable);
}

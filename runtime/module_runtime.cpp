// The compiler reaches thread-local variables, the exception state of the C++ runtime among them, through
// __emutls_get_address. The compiler's own version is built on its POSIX threads, which keep blocks, handles and
// a thread slot of the system for ever when a DLL is unloaded. This one lies in a fiber-local slot, whose values
// the system gives back for every thread that ends and, when the slot is freed, for all threads at once.
#include "runtime/module_runtime.h"

#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

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
  std::atomic<size_t> number;  // its place in a thread's storage, counted from 1; 0: none yet
  const void* initial_value;   // null: zeros
};

constexpr size_t kMostVariables = 16;

struct ThreadStorage {
  void* values[kMostVariables];
};

constinit std::atomic<size_t> variables = 0;
constinit DWORD slot = FLS_OUT_OF_INDEXES;

void WINAPI release(void* storage) {
  for (void* value : static_cast<ThreadStorage*>(storage)->values) std::free(value);
  std::free(storage);
}

// A program cannot go on without its thread-local variables.
void* required(void* memory) {
  if (!memory) std::abort();
  return memory;
}

ThreadStorage& storage_of_this_thread() {
  void* storage = FlsGetValue(slot);
  if (!storage) {
    storage = required(std::calloc(1, sizeof(ThreadStorage)));
    FlsSetValue(slot, storage);
  }
  return *static_cast<ThreadStorage*>(storage);
}

size_t number_of(Variable& variable) {
  size_t number = variable.number.load();
  if (number != 0) return number;
  const size_t next = variables.fetch_add(1) + 1;
  if (next > kMostVariables) std::abort();
  return variable.number.compare_exchange_strong(number, next) ? next : number;
}

void* value_of(Variable& variable) {
  if (variable.alignment > __BIGGEST_ALIGNMENT__) std::abort();
  void* value = required(std::calloc(1, variable.size));
  if (variable.initial_value) std::memcpy(value, variable.initial_value, variable.size);
  return value;
}

}  // namespace

bool open_module_runtime() {
  slot = FlsAlloc(release);
  return slot != FLS_OUT_OF_INDEXES;
}

void close_module_runtime() {
  FlsFree(slot);
  __gnu_cxx::__freeres();
}

}  // namespace velm

extern "C" void* __emutls_get_address(velm::Variable* variable) {
  void*& value = velm::storage_of_this_thread().values[velm::number_of(*variable) - 1];
  if (!value) value = velm::value_of(*variable);
  return value;
}

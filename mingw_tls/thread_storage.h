// Thread-local storage for DLLs built with MinGW. Each thread has one block. It contains the DLL's
// thread-local variables and memory for exceptions when the heap is exhausted. The system frees a block when
// its thread ends, and all blocks when the DLL is unloaded.
//
// A DLL calls open_thread_storage() and close_thread_storage() from its entry point. It calls
// prepare_thread() at the start of every exported function and of entry point code that may throw. After
// that, throwing and accessing thread-local variables do not allocate.
#pragma once

namespace velm {

#ifdef _WIN32

// Call first at process attach. If the system has no free slot, the DLL still loads, but prepare_thread()
// fails on every thread.
void open_thread_storage();

// Allocates the block of the calling thread unless it exists. Returns false if memory is exhausted or there
// is no slot. Throwing or accessing a thread-local variable would then terminate the process.
bool prepare_thread();

// Call at process detach when the DLL is unloaded, not when the process ends. No code may throw afterwards.
void close_thread_storage();

#else

// Other systems: native thread-local storage.
inline bool prepare_thread() { return true; }

#endif

}  // namespace velm

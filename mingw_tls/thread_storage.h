// Thread-local storage of a DLL built with mingw: one block for each thread, which holds the DLL's
// thread-local variables and the memory in which the thread can throw when the heap is exhausted. The system
// releases the blocks when their threads end and when the DLL is unloaded.
//
// A DLL calls open and close from its entry point, and prepare_thread() at the start of every exported
// function and entry point code that may throw. After that the thread can throw and use its thread-local
// variables without allocating.
#pragma once

namespace velm {

#ifdef _WIN32

// At process attach, before anything else. Without a free slot of the system the DLL still loads, but
// prepare_thread() fails on every thread.
void open_thread_storage();

// Allocates the calling thread's block unless it has one. False when memory or the slot is missing: code that
// throws or uses a thread-local variable would end the process.
bool prepare_thread();

// At process detach, but not at the end of the process. Nothing may be thrown afterwards.
void close_thread_storage();

#else

// Elsewhere the system provides thread-local storage.
inline bool prepare_thread() { return true; }

#endif

}  // namespace velm

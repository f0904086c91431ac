#pragma once

#include <cstddef>

namespace velm::token {

/**
 * Initialises OpenSSL and installs allocators that record failures for memory_ran_out(). Called when the
 * module is loaded. Without memory, OpenSSL's first initialisation never returns, so a static reserve backs
 * it.
 */
void open_openssl();

/** Records a failed allocation made by a library. Returns `memory`. */
void* noted_allocation(void* memory, size_t size);

/**
 * Prepares the calling thread and OpenSSL for a module call. Returns false when memory is exhausted; the
 * caller must then return its out-of-memory code without doing anything else.
 */
bool begin_module_call();

/**
 * Returns whether an allocation failed during the current call of this thread. The libraries report exhausted
 * memory like any other failure, so a failed call checks this to select its result code.
 */
bool memory_ran_out();

}  // namespace velm::token

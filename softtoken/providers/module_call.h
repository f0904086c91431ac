#pragma once

#include <cstddef>

namespace velm::token {

/**
 * Initialises OpenSSL and has its failed allocations noted for memory_ran_out(). At load: without memory
 * OpenSSL's own first initialisation never ends, so a reserve backs it.
 */
void open_openssl();

/** Notes a failed allocation of a library that a module uses; returns `memory`. */
void* noted_allocation(void* memory, size_t size);

/**
 * Prepares the calling thread and OpenSSL for a call of the module. False when memory is missing for that:
 * the call must return its memory code without doing anything else.
 */
bool begin_module_call();

/**
 * Whether an allocation has been noted as failed in this thread's call. The libraries report missing memory
 * like any other failure, so a call that fails looks here for its code.
 */
bool memory_ran_out();

}  // namespace velm::token

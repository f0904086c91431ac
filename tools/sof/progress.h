#pragma once

#include <cstdint>
#include <functional>

/**
 * Runs a call of the library over a file. Where the file is above 8 MiB and standard error a console, it
 * shows meanwhile what is known: how much this process has read of it, or only for how long the call has been
 * at work.
 * @param size Size of the file in bytes.
 * @return What the call returns.
 */
uint32_t watched(uint64_t size, const std::function<uint32_t()>& call);

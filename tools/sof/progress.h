#pragma once

#include <cstdint>
#include <functional>

/**
 * Runs a library call that processes a file. If the file exceeds 8 MiB and standard error is a console, shows
 * how much this process has read, or only the elapsed time if that is unknown.
 * @param size Size of the file in bytes.
 * @return The result of the call.
 */
uint32_t watched(uint64_t size, const std::function<uint32_t()>& call);

// Limits of PINs and names.
#pragma once

#include <cstddef>
#include <cstdint>

namespace velm::protocol {

// In bytes, without the terminating zero.
constexpr size_t kShortestPin = 4;
constexpr size_t kLongestPin = 31;

// Initial value of the PIN retry counter: a container is locked after this many consecutive wrong PINs.
constexpr uint32_t kPinRetries = 10;

// In bytes of UTF-8.
constexpr size_t kLongestContainerName = 200;

}  // namespace velm::protocol

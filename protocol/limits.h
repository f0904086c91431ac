// Limits of PINs and names.
#pragma once

#include <cstddef>
#include <cstdint>

namespace velm::protocol {

// In bytes, without a terminating zero.
constexpr size_t kShortestPin = 4;
constexpr size_t kLongestPin = 31;

// Wrong PINs in a row after which a container is locked.
constexpr uint32_t kPinTries = 10;

// In bytes of UTF-8.
constexpr size_t kLongestContainerName = 200;

}  // namespace velm::protocol

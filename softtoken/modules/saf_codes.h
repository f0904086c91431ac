#pragma once

#include <cstdint>

/** Result codes of GM/T 0019. */
constexpr uint32_t kSafSuccess = 0;
constexpr uint32_t kSafNotSupported = 0x02000002;
constexpr uint32_t kSafNoMemory = 0x02000100;
constexpr uint32_t kSafBadLength = 0x02000200;
constexpr uint32_t kSafBadInput = 0x02000201;

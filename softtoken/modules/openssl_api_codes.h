#pragma once

#include <cstdint>

/** Results of the crypto module. */
constexpr int32_t kApiSuccess = 0;
constexpr int32_t kApiNotSupported = -1;
constexpr int32_t kApiBadInput = -2;
constexpr int32_t kApiNoMemory = -3;

#pragma once

/**
 * @file velm_common.h
 * @brief The common user-interface module `velm_common.dll`: the PIN prompt.
 */

#include <cstdint>

#include "module_api.h"

extern "C" {

/**
 * @brief Prompts the user for a PIN in a modal window; blocks the calling thread until it is closed.
 * @param[in] kind Kind of prompt; 1 is the login prompt.
 * @param[in] parent_window Low 32 bits of the handle of the parent window, or 0.
 * @param[out] pin 32 bytes; on success the PIN with its terminating zero, at most 31 bytes without it.
 * @return 0 if the user entered a PIN; any other value if the prompt was cancelled or failed.
 */
VELM_MODULE_API int32_t vc_input_pin(uint32_t kind, uint32_t parent_window, char* pin);

}  // extern "C"

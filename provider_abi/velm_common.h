#pragma once

/**
 * @file velm_common.h
 * @brief The common user-interface module `velm_common.dll`: the prompt for a PIN.
 */

#include <cstdint>

#include "module_api.h"

extern "C" {

/**
 * @brief Asks the user for a PIN in a modal window; blocks the calling thread until it is answered.
 * @param[in] kind Kind of prompt; 1 is the one for a login.
 * @param[in] parent_window Low 32 bits of the parent window's handle, or 0.
 * @param[out] pin 32 bytes; on success the PIN with its terminating zero, at most 31 bytes without it.
 * @return 0 when the user entered a PIN; anything else when the prompt was cancelled or failed.
 */
VELM_MODULE_API int32_t vc_input_pin(
    uint32_t kind, uint32_t parent_window, char* pin);

}  // extern "C"

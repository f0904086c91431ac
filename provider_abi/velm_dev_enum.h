#pragma once

/**
 * @file velm_dev_enum.h
 * @brief The device enumeration module `velm_dev_enum.dll`: the record of the device that was found last.
 */

#include <cstddef>
#include <cstdint>

#include "module_api.h"

/** @brief The known part of a device's record; what follows the device type is not known. */
struct DeviceRecord {
  uint8_t unknown[192];  /**< Not known. */
  uint32_t device_type;  /**< Device type; the values are the module's. */
};
static_assert(offsetof(DeviceRecord, device_type) == 192);

extern "C" {

/**
 * @brief Gives the record of the device that was found last.
 * @return A DeviceRecord that the module owns and may change at any time; null when no device was found.
 */
VELM_MODULE_API const void* vde_get_last_device_config(
    void);

}  // extern "C"

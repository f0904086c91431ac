#pragma once

/**
 * @file velm_dev_enum.h
 * @brief The device enumeration module `velm_dev_enum.dll`: the record of the device found last.
 */

#include <cstddef>
#include <cstdint>

#include "module_api.h"

/** @brief The known part of a device record. The fields after the device type are not known. */
struct DeviceRecord {
  uint8_t unknown[192]; /**< Not known. */
  uint32_t device_type; /**< Device type; the module defines the values. */
};
static_assert(offsetof(DeviceRecord, device_type) == 192);

extern "C" {

/**
 * @brief Returns the record of the device found last.
 * @return A DeviceRecord, owned by the module, which may change it at any time; null if no device was found.
 */
VELM_MODULE_API const void* vde_get_last_device_config(void);

}  // extern "C"

#include "provider_abi/velm_dev_enum.h"

namespace {

/** Device type of the software token. */
constexpr uint32_t kSoftwareToken = 1;

constexpr DeviceRecord kDevice{.unknown = {}, .device_type = kSoftwareToken};

}  // namespace

// The software token is always present.
const void* vde_get_last_device_config(void) { return &kDevice; }

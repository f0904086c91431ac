#include "modules/velm_dev_enum.h"

const void* vde_get_last_device_config(void) { return nullptr; }

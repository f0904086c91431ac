#include "modules/velm_common.h"

namespace {

constexpr int32_t kNotSupported = -1;

}  // namespace

int32_t vc_input_pin(uint32_t, uint32_t, char*) { return kNotSupported; }

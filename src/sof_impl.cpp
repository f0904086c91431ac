#include "sof_impl.h"

namespace velm {

constinit void* g_hAppHandle = nullptr;

}  // namespace velm

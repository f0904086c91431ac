// The provider context: what the exported calls share when they use the cryptographic service library.
#pragma once

namespace velm {

// The one application handle of the process; null until it is opened.
extern void* g_hAppHandle;

}  // namespace velm

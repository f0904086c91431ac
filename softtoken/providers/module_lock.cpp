#include "softtoken/providers/module_lock.h"

#ifdef _WIN32

// Not declared in any header of the compiler.
extern "C" BOOLEAN NTAPI RtlDllShutdownInProgress();
#endif

namespace velm::token {

#ifdef _WIN32
bool process_is_ending() { return RtlDllShutdownInProgress() != FALSE; }
#else
bool process_is_ending() { return false; }
#endif

}  // namespace velm::token

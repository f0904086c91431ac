#include "provider_abi/velm_client_saf.h"
#include "softtoken/providers/module_lock.h"
#include "softtoken/providers/saf/application.h"
#include "softtoken/providers/saf/saf_call.h"

using namespace velm::protocol;
using namespace velm::token;

uint32_t SAF_Initialize(void** application, const char* config_path) {
  return saf_call([&] {
    require_saf(application != nullptr, kSafBadInput);
    *application = open_application(required_text(config_path));
  });
}

// At process exit a stopped thread may hold the lock of the module, or have left the heap in a state in which
// an allocation does not return. The system releases all memory.
uint32_t SAF_Finalize(void* application) {
  if (process_is_ending()) return kSafSuccess;
  return saf_call([&] { close_application(application); });
}

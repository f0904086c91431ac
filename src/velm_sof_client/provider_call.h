// What the calls share that work in process through the cryptographic service library.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "modules/velm_client_saf.h"
#include "sof_impl.h"
#include "velm_sof_client/exported_call.h"

namespace velm {

// Takes the result of a provider function: anything but success is logged under `name`, with the raw code, and fails with
// the library's code for it.
inline void check_provider(const char* name, uint32_t result, CallSite site = CallSite::current()) {
  if (result == 0) return;
  log::write(client_unit, log::kError, line_of(site), "\"%s\" 0x%08X \n", name, result);
  fail(SI_MapSafError(result));
}

struct ProviderFree {
  void operator()(void* memory) const { std::free(memory); }
};
using ProviderMemory = std::unique_ptr<uint8_t[], ProviderFree>;

// A buffer that a provider call fills: `length` goes in as its capacity and comes back as what was written.
struct ProviderBuffer {
  ProviderMemory bytes;
  uint32_t length = 0;

  uint8_t* data() const { return bytes.get(); }
};

// A buffer for what a provider call has just sized. When it is not to be had, `caller` and `name` say so in the log.
inline ProviderBuffer sized_buffer(const char* caller, const char* name, uint32_t sized,
                                   CallSite site = CallSite::current()) {
  ProviderBuffer buffer{nullptr, sized};
  buffer.bytes.reset(static_cast<uint8_t*>(SI_Malloc(buffer.length)));
  if (!buffer.bytes) {
    log::write(client_unit, log::kError, line_of(site), "%s, SI_Malloc, %s = 0x%08X \n", caller, name, buffer.length);
    fail(SOR_MEMORYERR);
  }
  return buffer;
}

// The length of a text as the provider takes it; a null one counts as no bytes.
inline uint32_t text_length(const char* text) { return text ? static_cast<uint32_t>(std::strlen(text)) : 0; }

}  // namespace velm

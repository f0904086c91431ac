// What the calls share that work in process through the provider modules.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "protocol/saf_codes.h"
#include "provider_abi/velm_client_saf.h"
#include "provider_abi/velm_openssl_api.h"
#include "sof_impl.h"
#include "velm_sof_client/byte_view.h"
#include "velm_sof_client/exported_call.h"
#include "velm_sof_client/heap_memory.h"

namespace velm {

// Logs `what` went wrong, with the provider's code, and fails with the library's code for it.
[[noreturn]] inline void fail_with_provider_code(const char* what, uint32_t provider_code, CallSite site) {
  log::write(client_unit, log::kError, line_of(site), "\"%s\" 0x%08X \n", what, provider_code);
  fail(SI_MapSafError(provider_code));
}

// Takes the result of a provider function. Anything but success fails the call under the function's name.
inline void check_provider(const char* function, uint32_t result, CallSite site = CallSite::current()) {
  if (result != 0) fail_with_provider_code(function, result, site);
}

// A buffer that a provider call fills. `stated_length` goes in as the capacity that the provider is told and
// comes back as the length that it says it wrote; content() never reaches beyond what is allocated.
struct ProviderBuffer {
  HeapMemory bytes{};
  uint32_t stated_length = 0;
  uint64_t allocated = 0;

  uint8_t* data() const { return bytes.get(); }
  ByteView content() const {
    return {bytes.get(), static_cast<uint32_t>(std::min<uint64_t>(stated_length, allocated))};
  }
};

// The same, of a fixed size and zeroed.
template <uint32_t size>
struct FixedBuffer {
  uint8_t bytes[size]{};
  uint32_t stated_length = size;

  ByteView content() const { return {bytes, std::min(stated_length, size)}; }
};

inline void require_memory(const HeapMemory& memory, const char* caller, const char* name, uint32_t length,
                           CallSite site = CallSite::current()) {
  if (memory) return;
  log::write(client_unit, log::kError, line_of(site), "%s, SI_Malloc, %s = 0x%08X \n", caller, name, length);
  fail(SOR_MEMORYERR);
}

// A buffer for what a provider call has just sized. When it is not to be had, `caller` and `name` say so in
// the log.
inline ProviderBuffer sized_buffer(const char* caller, const char* name, uint32_t sized,
                                   CallSite site = CallSite::current()) {
  uint32_t granted = sized;
  HeapMemory bytes(static_cast<uint8_t*>(SI_Malloc(granted)));
  require_memory(bytes, caller, name, granted, site);
  return {std::move(bytes), granted, uint64_t{granted} + kBytesBeyondCapacity};
}

// What the crypto module is asked about a certificate's public key.
enum CertificateQuestion : uint32_t { kKeyType = 1, kKeyTypeAndLength = 17 };

inline CertificateRecord parse_certificate(const char* function, ByteView certificate,
                                           CertificateQuestion question,
                                           CallSite site = CallSite::current()) {
  CertificateRecord record{};
  const int32_t result =
      VELM_Openssl_ParseCertInfo(certificate.data, certificate.length, question, 0, &record);
  if (result != 0) {
    log::write(client_unit, log::kError, line_of(site), "%s, VELM_Openssl_ParseCertInfo goa_rv=%d\n",
               function, result);
    fail(SOR_CERTPARSEERR);
  }
  return record;
}

// The public key of a certificate, as the provider's hash function takes it.
inline FixedBuffer<1024> read_public_key(ByteView certificate, CallSite site = CallSite::current()) {
  constexpr uint32_t kPublicKey = 8;
  FixedBuffer<1024> key;
  check_provider("SAF_GetCertificateInfo",
                 SAF_GetCertificateInfo(g_hAppHandle.load(), certificate.data, certificate.length, kPublicKey,
                                        key.bytes, &key.stated_length),
                 site);
  return key;
}

// The length of a text as the provider takes it; a null one counts as no bytes.
inline uint32_t text_length(const char* text) { return text ? static_cast<uint32_t>(std::strlen(text)) : 0; }

}  // namespace velm

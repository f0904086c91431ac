// Helpers for functions that use the provider modules.
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

// Logs `what` and the provider's code, then throws the corresponding result code of the library.
[[noreturn]] inline void fail_with_provider_code(const char* what, uint32_t provider_code, CallSite site) {
  log::write(client_unit, log::kError, line_of(site), "\"%s\" 0x%08X \n", what, provider_code);
  fail(SI_MapSafError(provider_code));
}

// Throws unless `result` is 0. The log line prints `function`.
inline void check_provider(const char* function, uint32_t result, CallSite site = CallSite::current()) {
  if (result != 0) fail_with_provider_code(function, result, site);
}

// Output buffer of a provider call. Before the call, `stated_length` is the size passed to the provider;
// after it, the length reported by the provider. content() never exceeds the allocation.
struct ProviderBuffer {
  HeapMemory bytes{};
  uint32_t stated_length = 0;
  uint64_t allocated = 0;

  uint8_t* data() const { return bytes.get(); }
  ByteView content() const {
    return {bytes.get(), static_cast<uint32_t>(std::min<uint64_t>(stated_length, allocated))};
  }
};

// Output buffer of fixed size, zeroed.
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

// Allocates a buffer for an output whose size the provider has reported. If the allocation fails, the log
// line prints `caller` and `name`.
inline ProviderBuffer sized_buffer(const char* caller, const char* name, uint32_t sized,
                                   CallSite site = CallSite::current()) {
  uint32_t granted = sized;
  HeapMemory bytes(static_cast<uint8_t*>(SI_Malloc(granted)));
  require_memory(bytes, caller, name, granted, site);
  return {std::move(bytes), granted, uint64_t{granted} + kBytesBeyondCapacity};
}

// Mode of VELM_Openssl_ParseCertInfo().
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

// Returns the public key of a certificate in the form that SAF_Hash() takes.
inline FixedBuffer<1024> read_public_key(ByteView certificate, CallSite site = CallSite::current()) {
  constexpr uint32_t kPublicKey = 8;
  FixedBuffer<1024> key;
  check_provider("SAF_GetCertificateInfo",
                 SAF_GetCertificateInfo(g_hAppHandle.load(), certificate.data, certificate.length, kPublicKey,
                                        key.bytes, &key.stated_length),
                 site);
  return key;
}

// Length of a text as the provider takes it; 0 for a null pointer.
inline uint32_t text_length(const char* text) { return text ? static_cast<uint32_t>(std::strlen(text)) : 0; }

}  // namespace velm

// The provider context: what the exported calls share when they use the cryptographic service library.
#pragma once

#include <atomic>
#include <cstdint>

namespace velm {

// The one application handle of the process; null until SI_Initialize has opened it.
extern std::atomic<void*> g_hAppHandle;

constexpr uint32_t kUserCertificateCapacity = 4096;
constexpr uint32_t kSigningCertificate = 2;

// User certificates known by container name. Nothing here fills it.
struct UserCertTable {
  static constexpr uint32_t kEntries = 64;
  uint32_t count;
  const uint8_t* certificate[kEntries];
  uint32_t certificate_length[kEntries];
  const char* container_name[kEntries];  // not zero-terminated
  uint32_t container_name_length[kEntries];
  uint32_t certificate_type[kEntries];
};
extern UserCertTable g_userCertTable;

// Opens the application handle unless it is open. 0, or 0x0B000001 with the provider's code logged. Callers
// that go on all the same leave it to the provider what becomes of a null handle.
uint32_t SI_Initialize();

// The library's code for a provider code.
uint32_t SI_MapSafError(uint32_t saf_code);

constexpr uint32_t kBytesBeyondCapacity = 1024;

// Memory for what a provider call has just sized: grows `length`, which becomes the capacity that the next
// call is told, by 2048 and allocates kBytesBeyondCapacity more than that. Null when memory runs out or the
// grown length passes 32 bits. To be released with free().
void* SI_Malloc(uint32_t& length);

// The signing certificate of a container, from the table. `certificate` holds 4096 bytes. 0, or 0x0B000310.
uint32_t SI_ExportUserCert(const char* container_name, uint8_t* certificate, uint32_t& length);

// The certificate of a scanned container, from its label on the device. 0, or 0x0B000001 with the code
// logged.
uint32_t SI_ExportCertForScan(const char* container_name, uint8_t* certificate, uint32_t& length);

}  // namespace velm

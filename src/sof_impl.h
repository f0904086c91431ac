// Shared state and helpers of the functions that use the signature provider.
#pragma once

#include <atomic>
#include <cstdint>

namespace velm {

// Application handle of the process; null until SI_Initialize() has opened it.
extern std::atomic<void*> g_hAppHandle;

constexpr uint32_t kUserCertificateCapacity = 4096;
constexpr uint32_t kSigningCertificate = 2;

// User certificates by container name. Sic: no code in the library fills the table.
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

// Opens the application handle unless it is open. Returns 0, or logs the provider's code and returns
// 0x0B000001. A caller that ignores the failure passes a null handle to the provider.
uint32_t SI_Initialize();

// Maps a result code of the provider to one of the library.
uint32_t SI_MapSafError(uint32_t saf_code);

constexpr uint32_t kBytesBeyondCapacity = 1024;

// Allocates a buffer for an output whose size the provider has reported in `length`. Adds 2048 to `length`,
// which callers pass on as the buffer size, and allocates kBytesBeyondCapacity bytes more. Returns null if
// memory is exhausted or the new length exceeds 32 bits. Callers release the buffer with free().
void* SI_Malloc(uint32_t& length);

// Looks up the signing certificate of a container in g_userCertTable. `certificate` must hold 4096 bytes.
// Returns 0, or 0x0B000310 if there is none.
uint32_t SI_ExportUserCert(const char* container_name, uint8_t* certificate, uint32_t& length);

// Reads the certificate of a "SCAN_CONTAINER" container from its label on the device. Returns 0, or logs the
// provider's code and returns 0x0B000001.
uint32_t SI_ExportCertForScan(const char* container_name, uint8_t* certificate, uint32_t& length);

}  // namespace velm

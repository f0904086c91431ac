#include "sof_impl.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include "basekit/basic/log.h"
#include "modules/velm_client_saf.h"
#include "velm_sof_client.h"

namespace velm {

constinit std::atomic<void*> g_hAppHandle{nullptr};
constinit UserCertTable g_userCertTable{};

namespace {

constinit log::Unit unit{R"(..\..\src\sof_impl)"};

// Provider codes first to last become mapped, mapped + 1, and so on.
struct CodeRange {
  uint32_t first;
  uint32_t last;
  uint32_t mapped;
};

// Sorted. A code that is not listed is an unknown error; so the gaps are part of the table.
constexpr CodeRange kCodeRanges[] = {
    {0x02000002, 0x02000009, 0x0B000002},
    {0x02000010, 0x02000012, 0x0B000010},
    {0x02000100, 0x02000101, 0x0B000100},
    {0x02000200, 0x02000201, 0x0B000200},
    {0x02000300, 0x02000300, 0x0B000300},
    {0x02000302, 0x02000304, 0x0B000302},
    {0x02000306, 0x02000309, 0x0B000306},
    {0x02000310, 0x02000311, 0x0B000310},
    {0x02000316, 0x02000316, 0xFFFFFFFD},
    {0x02000317, 0x02000317, 0xFFFFFFFB},
    {0x02000318, 0x02000318, 0xFFFFFFFE},
    {0x02000319, 0x02000319, 0xFFFFFFFF},
    {0x02000320, 0x02000320, 0x0B000405},
    {0x02000400, 0x02000402, 0x0B000400},
    {0x02000403, 0x02000403, 0x0B000438},
    {0x02000501, 0x02000501, 0x0B000427},
    {0x02000507, 0x02000507, 0x0B000428},
    {0x0200050A, 0x0200050A, 0x0B000429},
    {0x0200050B, 0x0200050B, 0x0B000500},
    {0x0200050C, 0x0200050C, 0xFFFFFFFC},
    {0x02000514, 0x02000514, 0x0B000411},
    {0x02000515, 0x02000519, 0x0B000432},
    {0x02000520, 0x02000520, 0x0B000412},
    {0x02000521, 0x02000521, 0x0B000425},
    {0x02000523, 0x02000524, 0x0B000440},
    {0x02000525, 0x02000525, 0x0B000426},
    {0x02000526, 0x02000528, 0x0B000442},
    {0x02000529, 0x0200052A, 0x0B000447},
    {0x0200052C, 0x0200052C, 0x0B010012},
    {0x02000603, 0x02000604, 0x0B000430},
    {0x0200060A, 0x0200060D, 0x0B010007},
    {0x0200060E, 0x02000613, 0x0B01000C},
    {0x02001001, 0x02001002, 0x0B000503},
};

}  // namespace

uint32_t SI_Initialize() {
  if (g_hAppHandle) return SOR_OK;
  void* handle = nullptr;
  const uint32_t result = SAF_Initialize(&handle, "saf_config.dat");
  if (result != 0) {
    log::write(unit, log::kError, __LINE__, "SI_Initialize -> SAF_Initialize, saf_rv = 0x%08X \n", result);
    return SOR_UNKNOWNERR;
  }
  g_hAppHandle = handle;
  return SOR_OK;
}

uint32_t SI_MapSafError(uint32_t saf_code) {
  if (saf_code == 0) return SOR_OK;
  const auto range = std::ranges::lower_bound(kCodeRanges, saf_code, {}, &CodeRange::last);
  if (range == std::end(kCodeRanges) || saf_code < range->first) return SOR_UNKNOWNERR;
  return range->mapped + (saf_code - range->first);
}

void* SI_Malloc(uint32_t& length) {
  const uint64_t granted = uint64_t{length} + 2048;
  length = static_cast<uint32_t>(granted);
  return granted > UINT32_MAX ? nullptr : std::malloc(granted + kBytesBeyondCapacity);
}

uint32_t SI_ExportUserCert(const char* container_name, uint8_t* certificate, uint32_t& length) {
  const UserCertTable& table = g_userCertTable;
  for (uint32_t i = 0; i < std::min(table.count, UserCertTable::kEntries); ++i) {
    // A name that begins with the stored one matches.
    const bool named =
        std::strncmp(container_name, table.container_name[i], table.container_name_length[i]) == 0;
    const uint32_t size = table.certificate_length[i];
    if (!named || table.certificate_type[i] != kSigningCertificate || size == 0) continue;
    if (size > kUserCertificateCapacity) continue;
    std::memcpy(certificate, table.certificate[i], size);
    length = size;
    return SOR_OK;
  }
  return SOR_CERTNOTFOUNDERR;
}

uint32_t SI_ExportCertForScan(const char* container_name, uint8_t* certificate, uint32_t& length) {
  constexpr uint32_t kCertificateLabel = 7;
  const std::string label = std::string(container_name) + "_FromCache";
  const auto label_length = static_cast<uint32_t>(label.size());
  length = kUserCertificateCapacity;
  const uint32_t result = SAF_Ext_ReadLabel(g_hAppHandle, label.c_str(), label_length, label.c_str(),
                                            label_length, kCertificateLabel, certificate, &length);
  if (result != 0) {
    log::write(unit, log::kError, __LINE__, "SAF_Ext_ReadLabel lbtype:%d 0x%08X \n",
               static_cast<int>(kCertificateLabel), result);
    return SOR_UNKNOWNERR;
  }
  // What is said to be read must lie in the buffer.
  length = std::min(length, kUserCertificateCapacity);
  return SOR_OK;
}

}  // namespace velm

#include "sof_impl.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "basekit/basic/log.h"
#include "protocol/identifiers.h"
#include "protocol/result_codes.h"
#include "provider_abi/velm_client_saf.h"
#include "velm_sof_client.h"

namespace velm {

constinit std::atomic<void*> g_hAppHandle{nullptr};
constinit UserCertTable g_userCertTable{};

namespace {

constinit log::Unit unit{R"(..\..\src\sof_impl)"};

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

uint32_t SI_MapSafError(uint32_t saf_code) { return protocol::client_code_of(saf_code); }

void* SI_Malloc(uint32_t& length) {
  const uint64_t granted = uint64_t{length} + 2048;
  length = static_cast<uint32_t>(granted);
  return granted > UINT32_MAX ? nullptr : std::malloc(granted + kBytesBeyondCapacity);
}

uint32_t SI_ExportUserCert(const char* container_name, uint8_t* certificate, uint32_t& length) {
  const UserCertTable& table = g_userCertTable;
  for (uint32_t i = 0; i < std::min(table.count, UserCertTable::kEntries); ++i) {
    // Sic: compares a prefix, so a longer container name that begins with the stored name matches.
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
  using protocol::kCertificateLabel;
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
  // The provider may report more bytes than the buffer holds.
  length = std::min(length, kUserCertificateCapacity);
  return SOR_OK;
}

}  // namespace velm

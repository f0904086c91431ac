// Maps result codes: from the local service to the signature provider (velm_client_saf.dll), and from the
// signature provider to velm_sof_client.dll.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "protocol/saf_codes.h"
#include "velm_sof_client.h"

namespace velm::protocol {

struct ServiceCode {
  uint32_t service;
  uint32_t saf;
};

// Service codes and the corresponding provider codes. All other codes map to kSafUnknownError.
inline constexpr ServiceCode kServiceCodes[] = {
    {SOR_NOTSUPPORTYETERR, kSafNotSupported},
    {SOR_ALGOTYPEERR, kSafAlgorithm},
    {SOR_KEYUSAGEERR, kSafKeyUsage},
    {SOR_INDATALENERR, kSafBadLength},
    {SOR_INDATAERR, kSafBadInput},
    {SOR_GENRANDERR, kSafRandomFailed},
    {SOR_KEYNOTFOUNDERR, kSafKeyNotFound},
    {SOR_CERTNOTFOUNDERR, kSafCertificateNotFound},
    {SOR_NOTEXPORTERR, kSafObjectNotFound},
    {SOR_CERTENCODEERR, kSafCertificateFormat},
    {SOR_CERTINVALIDERR, kSafCertificateInvalid},
    {SOR_CERTHASEXPIREDERR, kSafCertificateExpired},
    {SOR_CERTREVOKEDERR, kSafCertificateRevoked},
    {SOR_SIGNDATAERR, kSafSignFailed},
    {SOR_VERIFYSIGNDATAERR, kSafHashNotEqual},
    {SOR_ENCRYPTDATAERR, kSafEncryptFailed},
    {SOR_DECRYPTDATAERR, kSafDecryptFailed},
    {SOR_PKCS7ENCODEERR, kSafBadObject},
    {SOR_PARAMETERNOTSUPPORTERR, kSafNotSupported},
    {SOR_BUFFERTOOSMALLERR, kSafBadLength},
    {SOR_CONTAINERNOTFOUNDERR, kSafNoSuchContainer},
    {SOR_PINERR, kSafWrongPin},
    {SOR_PKCS7DECRYPTERR, kSafEnvelopeNotOpened},
    {SOR_FILEEXISTSERR, kSafFileExists},
    {SOR_NOSPACEERR, kSafNoSpace},
    {SOR_FILENOTFOUNDERR, kSafFileNotFound},
    {SOR_MAXFILECOUNTERR, kSafTooManyFiles},
    {SOR_NOTLOGINERR, kSafNotLoggedIn},
    {SOR_KEYPAIRMISMATCHERR, kSafKeyMismatch},
    {SOR_PINLOCKEDERR, kSafPinLocked},
    {SOR_OIDNOTFOUNDERR, kSafItemNotFound},
    {SOR_CERTNOTYETVALIDERR, kSafCertificateNotYetValid},
    {SOR_LABELNOTFOUNDERR, kSafNoSuchLabel},
    {SOR_CERTNOTTRUSTEDERR, kSafNotTrusted},
};

constexpr uint32_t saf_code_of(uint32_t service_code) {
  const auto* found = std::ranges::find(kServiceCodes, service_code, &ServiceCode::service);
  return found == std::end(kServiceCodes) ? kSafUnknownError : found->saf;
}

// Maps the provider codes `first` to `last` to `client`, `client` + 1, and so on.
struct SafCodeRange {
  uint32_t first;
  uint32_t last;
  uint32_t client;
};

// Sorted. Codes in the gaps map to SOR_UNKNOWNERR.
inline constexpr SafCodeRange kSafCodeRanges[] = {
    {0x02000002, 0x02000009, SOR_NOTSUPPORTYETERR},   {0x02000010, 0x02000012, SOR_MODULUSLENERR},
    {0x02000100, 0x02000101, SOR_MEMORYERR},          {0x02000200, 0x02000201, SOR_INDATALENERR},
    {0x02000300, 0x02000300, SOR_GENRANDERR},         {0x02000302, 0x02000304, SOR_HASHERR},
    {0x02000306, 0x02000309, SOR_RSAENCERR},          {0x02000310, 0x02000311, SOR_CERTNOTFOUNDERR},
    {0x02000316, 0x02000316, SOR_PROVIDERMINUS3ERR},  {0x02000317, 0x02000317, SOR_PROVIDERMINUS5ERR},
    {0x02000318, 0x02000318, SOR_PROVIDERMINUS2ERR},  {0x02000319, 0x02000319, SOR_PROVIDERMINUS1ERR},
    {0x02000320, 0x02000320, SOR_CERTENCODEERR},      {0x02000400, 0x02000402, SOR_DECRYPTPADERR},
    {0x02000403, 0x02000403, SOR_NOTLOGINERR},        {0x02000501, 0x02000501, SOR_ECCENCERR},
    {0x02000507, 0x02000507, SOR_PKCS7SIGNERR},       {0x0200050A, 0x0200050A, SOR_PKCS7DECRYPTERR},
    {0x0200050B, 0x0200050B, SOR_ENUMDEVICEERR},      {0x0200050C, 0x0200050C, SOR_PROVIDERMINUS4ERR},
    {0x02000514, 0x02000514, SOR_READFILEERR},        {0x02000515, 0x02000519, SOR_FILEEXISTSERR},
    {0x02000520, 0x02000520, SOR_WRITEFILEERR},       {0x02000521, 0x02000521, SOR_CONTAINERNOTFOUNDERR},
    {0x02000523, 0x02000524, SOR_KEYPAIRMISMATCHERR}, {0x02000525, 0x02000525, SOR_PINERR},
    {0x02000526, 0x02000528, SOR_PINLOCKEDERR},       {0x02000529, 0x0200052A, SOR_USERCANCELERR},
    {0x0200052C, 0x0200052C, SOR_CERTNOTTRUSTEDERR},  {0x02000603, 0x02000604, SOR_TSRESPONSEERR},
    {0x0200060A, 0x0200060D, SOR_HTTPREQUESTERR},     {0x0200060E, 0x02000613, SOR_HTTPTIMEOUTERR},
    {0x02001001, 0x02001002, SOR_KEYMISMATCHERR},
};

constexpr uint32_t client_code_of(uint32_t saf_code) {
  if (saf_code == kSafSuccess) return SOR_OK;
  const auto* range = std::ranges::lower_bound(kSafCodeRanges, saf_code, {}, &SafCodeRange::last);
  if (range == std::end(kSafCodeRanges) || saf_code < range->first) return SOR_UNKNOWNERR;
  return range->client + (saf_code - range->first);
}

static_assert(std::ranges::is_sorted(kSafCodeRanges, {}, &SafCodeRange::last));

}  // namespace velm::protocol

// Result codes of velm_client_saf.dll that the tests expect.
#pragma once

#include <cstdint>

namespace velm::token {

constexpr uint32_t kSafSuccess = 0;
constexpr uint32_t kSafUnknownError = 0x02000001;
constexpr uint32_t kSafNotSupported = 0x02000002;
constexpr uint32_t kSafAlgorithm = 0x02000007;
constexpr uint32_t kSafKeyUsage = 0x02000009;
constexpr uint32_t kSafBadObject = 0x02000012;
constexpr uint32_t kSafNoMemory = 0x02000100;
constexpr uint32_t kSafBadLength = 0x02000200;
constexpr uint32_t kSafBadInput = 0x02000201;
constexpr uint32_t kSafHashNotEqual = 0x02000308;
constexpr uint32_t kSafCertificateNotFound = 0x02000310;
constexpr uint32_t kSafObjectNotFound = 0x02000311;
constexpr uint32_t kSafCertificateFormat = 0x02000320;
constexpr uint32_t kSafPadding = 0x02000400;
constexpr uint32_t kSafNotLoggedIn = 0x02000403;
constexpr uint32_t kSafDecryptFailed = 0x02000506;
constexpr uint32_t kSafEnvelopeNotOpened = 0x0200050A;
constexpr uint32_t kSafFileExists = 0x02000515;
constexpr uint32_t kSafNoSpace = 0x02000516;
constexpr uint32_t kSafFileNotFound = 0x02000517;
constexpr uint32_t kSafNoSuchContainer = 0x02000521;
constexpr uint32_t kSafKeyMismatch = 0x02000523;
constexpr uint32_t kSafStampAnswer = 0x02000603;
constexpr uint32_t kSafStampService = 0x02000604;
constexpr uint32_t kSafHttpFailed = 0x0200060A;
constexpr uint32_t kSafJsonFailed = 0x0200060B;
constexpr uint32_t kSafServerFailed = 0x0200060D;
constexpr uint32_t kSafHttpTimeout = 0x0200060E;
constexpr uint32_t kSafFileOpen = 0x02000610;
constexpr uint32_t kSafDamaged = 0x02000611;
constexpr uint32_t kSafNoSuchLabel = 0x02001002;

}  // namespace velm::token

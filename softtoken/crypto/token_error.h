#pragma once

#include <cstdint>
#include <exception>

#include "velm_sof_client.h"

namespace velm::token {

/** The result codes of the token; clients receive them unchanged. */
enum ErrorCode : uint32_t {
  kSuccess = SOR_OK,
  kUnknownError = SOR_UNKNOWNERR,
  kNotSupported = SOR_NOTSUPPORTYETERR,
  kAlgorithmUnsupported = SOR_ALGOTYPEERR,
  kKeyUsage = SOR_KEYUSAGEERR,
  kBadLength = SOR_INDATALENERR,
  kBadInput = SOR_INDATAERR,
  kRandomFailed = SOR_GENRANDERR,
  kKeyNotFound = SOR_KEYNOTFOUNDERR,
  kCertificateNotFound = SOR_CERTNOTFOUNDERR,
  kObjectNotFound = SOR_NOTEXPORTERR,
  kCertificateFormat = SOR_CERTENCODEERR,
  kCertificateInvalid = SOR_CERTINVALIDERR,
  kCertificateExpired = SOR_CERTHASEXPIREDERR,
  kCertificateRevoked = SOR_CERTREVOKEDERR,
  kSignFailed = SOR_SIGNDATAERR,
  kVerifyFailed = SOR_VERIFYSIGNDATAERR,
  kEncryptFailed = SOR_ENCRYPTDATAERR,
  kDecryptFailed = SOR_DECRYPTDATAERR,
  kWrongPadding = SOR_DECRYPTPADERR,
  kDamaged = SOR_DATACORRUPTEDERR,
  kPkcs7Format = SOR_PKCS7ENCODEERR,
  kParameterUnsupported = SOR_PARAMETERNOTSUPPORTERR,
  kBufferTooSmall = SOR_BUFFERTOOSMALLERR,
  kNoSuchContainer = SOR_CONTAINERNOTFOUNDERR,
  kWrongPin = SOR_PINERR,
  kEnvelopeOpenFailed = SOR_PKCS7DECRYPTERR,
  kFileExists = SOR_FILEEXISTSERR,
  kNoSpace = SOR_NOSPACEERR,
  kFileNotFound = SOR_FILENOTFOUNDERR,
  kTooManyFiles = SOR_MAXFILECOUNTERR,
  kNotLoggedIn = SOR_NOTLOGINERR,
  kContainerExists = SOR_CONTAINEREXISTSERR,
  kKeyMismatch = SOR_KEYPAIRMISMATCHERR,
  kPinLocked = SOR_PINLOCKEDERR,
  kOidNotFound = SOR_OIDNOTFOUNDERR,
  kNotYetValid = SOR_CERTNOTYETVALIDERR,
  kLabelNotFound = SOR_LABELNOTFOUNDERR,
  kNoSuchSeal = SOR_SEALNOTFOUNDERR,
  kNotTrusted = SOR_CERTNOTTRUSTEDERR,
};

/** Fails the call with a result code. */
class TokenError : public std::exception {
 public:
  explicit TokenError(ErrorCode code) : code_(code) {}
  ErrorCode code() const { return code_; }
  const char* what() const noexcept override { return "token error"; }

 private:
  ErrorCode code_;
};

/** Unless `condition` holds, clears the OpenSSL error queue and throws TokenError(code). */
void require(bool condition, ErrorCode code);

}  // namespace velm::token

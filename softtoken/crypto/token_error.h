#pragma once

#include <cstdint>
#include <exception>

namespace velm::token {

/** The service's result codes; a client receives them as they stand. */
enum ErrorCode : uint32_t {
  kSuccess = 0,
  kUnknownError = 0x0B000001,
  kNotSupported = 0x0B000002,
  kAlgorithmUnsupported = 0x0B000007,
  kBadLength = 0x0B000200,
  kBadInput = 0x0B000201,
  kRandomFailed = 0x0B000300,
  kKeyNotFound = 0x0B000309,
  kCertificateNotFound = 0x0B000310,
  kObjectNotFound = 0x0B000311,
  kCertificateFormat = 0x0B000405,
  kCertificateInvalid = 0x0B000406,
  kCertificateExpired = 0x0B000407,
  kCertificateRevoked = 0x0B000408,
  kSignFailed = 0x0B000409,
  kVerifyFailed = 0x0B000410,
  kEncryptFailed = 0x0B000415,
  kDecryptFailed = 0x0B000416,
  kPkcs7Format = 0x0B000417,
  kParameterUnsupported = 0x0B000419,
  kBufferTooSmall = 0x0B000422,
  kNoSuchContainer = 0x0B000425,
  kWrongPin = 0x0B000426,
  kEnvelopeOpenFailed = 0x0B000429,
  kFileExists = 0x0B000432,
  kNoSpace = 0x0B000433,
  kFileNotFound = 0x0B000434,
  kTooManyFiles = 0x0B000435,
  kNotLoggedIn = 0x0B000438,
  kContainerExists = 0x0B000439,
  kKeyMismatch = 0x0B000440,
  kPinLocked = 0x0B000442,
  kOidNotFound = 0x0B000444,
  kNotYetValid = 0x0B000501,
  kLabelNotFound = 0x0B000504,
  kNoSuchSeal = 0x0B01000B,
  kNotTrusted = 0x0B010012,
};

/** Leaves whatever is under way with a result code. */
class TokenError : public std::exception {
 public:
  explicit TokenError(ErrorCode code) : code_(code) {}
  ErrorCode code() const { return code_; }
  const char* what() const noexcept override { return "token error"; }

 private:
  ErrorCode code_;
};

}  // namespace velm::token

#include "failure.h"

#include <string_view>

#include "result_code.h"

namespace {

ExitStatus status_of(uint32_t code) {
  switch (code) {
    case SOR_COMMUNICATIONERR:
    case SOR_HTTPREQUESTERR:
    case SOR_HTTPTIMEOUTERR:
      return ExitStatus::no_service;
    case SOR_PINERR:
    case SOR_PINLOCKEDERR:
    case SOR_NOTLOGINERR:
    case SOR_USERCANCELERR:
      return ExitStatus::no_access;
    default:
      return ExitStatus::call_failed;
  }
}

Failure failure_with_code(const sof::Error& error, ExitStatus status) {
  return {status,
          error.what(),
          {{"function", error.function()}, {"code", code_text(error.code())}, {"text", error.text()}}};
}

// Why a function returned success without a result.
const char* cause_of_false_success(std::string_view function) {
  if (function == "SOF_SignFile") {
    return "nothing was signed: the container name contains none of RSA_1024, RSA_2048, SCAN_ and SM2, which "
           "select the digest";
  }
  if (function.starts_with("SOF_Ext_GM_Tsp_")) {
    return "the signature provider could not be opened; check saf_config.dat and `sof log`";
  }
  return "the response contains no result";
}

}  // namespace

Failure usage_failure(const std::string& message) {
  return {ExitStatus::usage, message, {{"message", message}}};
}

Failure file_failure(const std::string& path, const std::string& message) {
  return {ExitStatus::file, path + ": " + message, {{"path", path}, {"message", message}}};
}

Failure call_failure(const sof::Error& error) { return failure_with_code(error, status_of(error.code())); }

Failure call_failure(const sof::NotValid& error) { return failure_with_code(error, ExitStatus::refused); }

Failure call_failure(const sof::FalseSuccess& error) {
  const std::string cause = cause_of_false_success(error.function());
  return {ExitStatus::call_failed,
          std::string(error.function()) + ": " + cause,
          {{"function", error.function()}, {"message", cause}}};
}

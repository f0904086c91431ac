#include "library_call.h"

#include "protocol/result_codes.h"
#include "text.h"

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

bool is_a_no(uint32_t code) {
  switch (code) {
    case SOR_HASHERR:
    case SOR_HASHNOTEQUALERR:
    case SOR_POLICYVERIFYERR:
    case SOR_VERIFYSIGNDATAERR:
    case SOR_CERTINVALIDERR:
    case SOR_CERTHASEXPIREDERR:
    case SOR_CERTREVOKEDERR:
    case SOR_CERTNOTYETVALIDERR:
    case SOR_CERTFROZENERR:
    case SOR_CERTNOTTRUSTEDERR:
    case SOR_PROVIDERMINUS5ERR:
    case SOR_PROVIDERMINUS4ERR:
    case SOR_PROVIDERMINUS3ERR:
    case SOR_PROVIDERMINUS2ERR:
    case SOR_PROVIDERMINUS1ERR:
      return true;
    default:
      return false;
  }
}

}  // namespace

std::string error_text(uint32_t code) {
  char text[64] = "";
  SOF_Ext_GetErrInfo(code, text);
  return utf8_of_gbk(text);
}

std::string meaning_of(uint32_t code) {
  constexpr uint32_t kProviderFamily = 0x0200;
  return error_text(code >> 16 == kProviderFamily ? velm::protocol::client_code_of(code) : code);
}

void check(const char* function, uint32_t code) {
  if (code != SOR_OK) throw call_failure(function, code, status_of(code));
}

void check_verdict(const char* function, uint32_t code) {
  if (is_a_no(code)) throw call_failure(function, code, ExitStatus::refused);
  check(function, code);
}

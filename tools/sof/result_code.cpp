#include "result_code.h"

#include <cstdio>

#include "protocol/result_codes.h"
#include "velm_sof.hpp"

std::string code_text(uint32_t code) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", unsigned{code});
  return text;
}

std::string meaning_of(uint32_t code) {
  constexpr uint32_t kProviderFamily = 0x0200;
  const bool is_of_provider = code >> 16 == kProviderFamily;
  return velm::sof::error_text(is_of_provider ? velm::protocol::client_code_of(code) : code);
}

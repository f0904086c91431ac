#pragma once

#include <nlohmann/json.hpp>

#include "softtoken/crypto/secret.h"

namespace velm::token {

/**
 * The members of a request; each throws the code for bad input when the member is missing or of another type.
 */
std::string text_field(const nlohmann::json& request, const char* name);
SecretBytes secret_text_field(const nlohmann::json& request, const char* name);
uint32_t number_field(const nlohmann::json& request, const char* name);
Bytes base64_field(const nlohmann::json& request, const char* name);
SecretBytes secret_base64_field(const nlohmann::json& request, const char* name);

/** Wipes every text of a request when the scope ends, since some are PINs. */
class WipeTextsAtEnd {
 public:
  explicit WipeTextsAtEnd(nlohmann::json& request) : request_(request) {}
  WipeTextsAtEnd(const WipeTextsAtEnd&) = delete;
  ~WipeTextsAtEnd();  // NOLINT(bugprone-exception-escape)

 private:
  nlohmann::json& request_;
};

}  // namespace velm::token

#pragma once

#include <nlohmann/json.hpp>

#include "softtoken/store/client_text.h"

namespace velm::token {

/** Members of a request. Each function throws kBadInput if the member is missing or invalid. */
std::string text_field(const nlohmann::json& request, const char* name);
ContainerName name_field(const nlohmann::json& request, const char* name);
Pin pin_field(const nlohmann::json& request, const char* name);
uint32_t number_field(const nlohmann::json& request, const char* name);
Bytes base64_field(const nlohmann::json& request, const char* name);
Pin base64_pin_field(const nlohmann::json& request, const char* name);

/** Wipes all strings of a request at the end of the scope: some are PINs. */
class WipeTextsAtEnd {
 public:
  explicit WipeTextsAtEnd(nlohmann::json& request) : request_(request) {}
  WipeTextsAtEnd(const WipeTextsAtEnd&) = delete;
  ~WipeTextsAtEnd();  // NOLINT(bugprone-exception-escape)

 private:
  nlohmann::json& request_;
};

}  // namespace velm::token

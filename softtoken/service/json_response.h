#pragma once

#include <cstdint>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "softtoken/crypto/bytes.h"
#include "softtoken/service/received_text.h"

namespace velm::token {

// The texts of JSON responses: an object with a result code and, after a call that succeeded, its result.

SecretText json_success();
SecretText json_success(const nlohmann::json& result);
/** The result is the base64 text of the bytes. */
SecretText json_success_base64(ByteView bytes);
/** The result is an object with one member, the base64 text of the bytes. */
SecretText json_success_base64(std::string_view member, ByteView bytes);
SecretText json_failure(uint32_t code);

}  // namespace velm::token

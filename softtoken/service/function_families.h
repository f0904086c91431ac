#pragma once

#include <nlohmann/json.hpp>

#include "softtoken/service/frame.h"
#include "softtoken/service/json_request.h"
#include "softtoken/service/json_response.h"
#include "softtoken/store/token.h"

namespace velm::token {

using Json = nlohmann::json;

// Each function returns its response, a JSON text or a byte frame, or throws TokenError.

// Environment
SecretText get_version(Token& token, JsonRequest& request);
SecretText gen_random(Token& token, JsonRequest& request);
/** Initialize and Finalize. The token keeps no state for an application. */
SecretText acknowledge(Token& token, JsonRequest& request);
SecretText configure(Token& token, FrameReader& request);

// Login and PIN
SecretText login(Token& token, JsonRequest& request);
SecretText logout(Token& token, JsonRequest& request);
SecretText is_login(Token& token, JsonRequest& request);
SecretText get_pin_retry_count(Token& token, JsonRequest& request);
SecretText change_pin(Token& token, JsonRequest& request);

// Device
SecretText get_user_list(Token& token, JsonRequest& request);
SecretText get_device_info(Token& token, JsonRequest& request);

// Certificates
SecretText export_signing_certificate(Token& token, JsonRequest& request);
SecretText export_encryption_certificate(Token& token, JsonRequest& request);
SecretText get_certificate_item_by_oid(Token& token, JsonRequest& request);
SecretText validate_certificate(Token& token, JsonRequest& request);
SecretText get_certificate_item(Token& token, FrameReader& request);

// Signing
SecretText sign_data(Token& token, JsonRequest& request);
SecretText verify_data(Token& token, JsonRequest& request);
SecretText sign_message(Token& token, JsonRequest& request);
SecretText verify_message(Token& token, JsonRequest& request);
SecretText sign_hash(Token& token, JsonRequest& request);
SecretText get_message_item(Token& token, FrameReader& request);

// Encryption
SecretText encrypt_data(Token& token, FrameReader& request);
SecretText decrypt_data(Token& token, FrameReader& request);
SecretText export_public_key(Token& token, FrameReader& request);
SecretText asymmetric_encrypt(Token& token, FrameReader& request);
SecretText asymmetric_decrypt(Token& token, FrameReader& request);

// User data files and seals
SecretText read_user_data(Token& token, FrameReader& request);
SecretText write_user_data(Token& token, JsonRequest& request);
SecretText count_seals(Token& token, JsonRequest& request);
SecretText get_seal_item(Token& token, JsonRequest& request);

}  // namespace velm::token

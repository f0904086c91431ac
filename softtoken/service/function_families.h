#pragma once

#include <nlohmann/json_fwd.hpp>

#include "softtoken/service/frame.h"
#include "softtoken/store/token.h"

namespace velm::token {

using Json = nlohmann::json;

// Each function returns its result (null or no bytes if it has none), or throws TokenError.

// Environment
Json get_version(Token& token, const Json& request);
Json gen_random(Token& token, const Json& request);
/** Initialize and Finalize. The token keeps no state for an application. */
Json acknowledge(Token& token, const Json& request);
Bytes configure(Token& token, FrameReader& request);

// Login and PIN
Json login(Token& token, const Json& request);
Json logout(Token& token, const Json& request);
Json is_login(Token& token, const Json& request);
Json get_pin_retry_count(Token& token, const Json& request);
Json change_pin(Token& token, const Json& request);

// Device
Json get_user_list(Token& token, const Json& request);
Json get_device_info(Token& token, const Json& request);

// Certificates
Json export_signing_certificate(Token& token, const Json& request);
Json export_encryption_certificate(Token& token, const Json& request);
Json get_certificate_item_by_oid(Token& token, const Json& request);
Json validate_certificate(Token& token, const Json& request);
Bytes get_certificate_item(Token& token, FrameReader& request);

// Signing
Json sign_data(Token& token, const Json& request);
Json verify_data(Token& token, const Json& request);
Json sign_message(Token& token, const Json& request);
Json verify_message(Token& token, const Json& request);
Json sign_hash(Token& token, const Json& request);
Bytes get_message_item(Token& token, FrameReader& request);

// Encryption
Bytes encrypt_data(Token& token, FrameReader& request);
Bytes decrypt_data(Token& token, FrameReader& request);
Bytes export_public_key(Token& token, FrameReader& request);
Bytes asymmetric_encrypt(Token& token, FrameReader& request);
Bytes asymmetric_decrypt(Token& token, FrameReader& request);

// User data files and seals
Bytes read_user_data(Token& token, FrameReader& request);
Json write_user_data(Token& token, const Json& request);
Json count_seals(Token& token, const Json& request);
Json get_seal_item(Token& token, const Json& request);

}  // namespace velm::token

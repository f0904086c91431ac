#pragma once

#include <nlohmann/json_fwd.hpp>

#include "protocol/byte_frame.h"
#include "protocol/identifiers.h"
#include "softtoken/crypto/secret.h"
#include "softtoken/crypto/signing.h"
#include "softtoken/providers/saf/configuration.h"

namespace velm::token {

/**
 * The running service, which alone holds private keys and storage. It uses them only for a container that is
 * logged in; the code for not logged in is thrown otherwise, and every other refusal as this module's code
 * for it. Container names may be UTF-8 or GBK.
 */
class TokenClient {
 public:
  explicit TokenClient(Configuration configuration) : configuration_(std::move(configuration)) {}

  enum class KeyUse : uint32_t { exchange = protocol::kExchangeKey, signing = protocol::kSigningKey };

  Bytes certificate(const std::string& container, KeyUse use) const;
  /** A signature by the container's signing key. */
  Bytes sign_hash(const std::string& container, DigestId digest, ByteView hash) const;
  /** What was encrypted for a key of the container; for RSA a wrong key may give any bytes. */
  SecretBytes decrypt(const std::string& container, KeyUse use, ByteView cipher) const;
  SecretBytes open_envelope(const std::string& container, ByteView envelope) const;

  /** One of the functions that the service offers to provider modules alone; gives its result. */
  nlohmann::json module_function(protocol::ModuleFunction function, nlohmann::json arguments) const;

  /** The time-stamp authority's answer to a query. */
  Bytes time_stamp(ByteView query) const;

 private:
  nlohmann::json call(const char* path, const nlohmann::json& request) const;
  SecretBytes frame_call(protocol::FunctionNumber function,
                         std::initializer_list<protocol::FrameField> fields) const;
  SecretBytes post(const Endpoint& endpoint, const char* path, const char* content_type, ByteView body) const;

  Configuration configuration_;
};

/** Values of an answer; each throws the code for one that cannot be read. */
Bytes base64_value(const nlohmann::json& value);
uint32_t number_member(const nlohmann::json& object, const char* name);

}  // namespace velm::token

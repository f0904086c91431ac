#pragma once

#include "protocol/byte_frame.h"
#include "protocol/identifiers.h"
#include "softtoken/crypto/secret.h"
#include "softtoken/crypto/signing.h"
#include "softtoken/providers/saf/configuration.h"
#include "softtoken/providers/saf/json.h"

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

  /** One of the functions that the service offers to provider modules alone; returns its result, or null. */
  Json module_function(protocol::ModuleFunction function, JsonObject arguments) const;

  /** The time-stamp authority's answer to a query. */
  Bytes time_stamp(ByteView query) const;

 private:
  Json call(const char* path, const JsonObject& request) const;
  SecretBytes frame_call(protocol::FunctionNumber function,
                         std::initializer_list<protocol::FrameField> fields) const;
  SecretBytes post(const Endpoint& endpoint, const char* path, const char* content_type, ByteView body) const;

  Configuration configuration_;
};

}  // namespace velm::token

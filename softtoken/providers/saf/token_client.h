#pragma once

#include "protocol/byte_frame.h"
#include "protocol/identifiers.h"
#include "softtoken/crypto/secret.h"
#include "softtoken/crypto/signing.h"
#include "softtoken/providers/saf/configuration.h"
#include "softtoken/providers/saf/json.h"

namespace velm::token {

/**
 * Client of the local service, which alone has access to private keys and storage. The service uses them only
 * for a container that is logged in; otherwise calls throw kSafNotLoggedIn. Other refusals are thrown as this
 * module's corresponding code. Container names may be UTF-8 or GBK.
 */
class TokenClient {
 public:
  explicit TokenClient(Configuration configuration) : configuration_(std::move(configuration)) {}

  enum class KeyUse : uint32_t { encryption = protocol::kEncryptionKey, signing = protocol::kSigningKey };

  Bytes certificate(const std::string& container, KeyUse use) const;
  /** Signs with the container's signing key. */
  Bytes sign_hash(const std::string& container, DigestId digest, ByteView hash) const;
  /** Decrypts with a key of the container. Implicit rejection: a wrong RSA key may yield arbitrary bytes. */
  SecretBytes decrypt(const std::string& container, KeyUse use, ByteView cipher) const;
  SecretBytes open_envelope(const std::string& container, ByteView envelope) const;

  /** Calls a function that the local service offers only to provider modules. Returns its result, or null. */
  Json module_function(protocol::ModuleFunction function, JsonObject arguments) const;

  /** The token treats the name of a label as bytes. Throws kSafNoSuchLabel. */
  Bytes label(const std::string& name, uint32_t type) const;

  /** Returns the TSA's answer to a query. */
  Bytes time_stamp(ByteView query) const;

 private:
  Json call(const char* path, const JsonObject& request) const;
  SecretBytes frame_call(protocol::FunctionNumber function,
                         std::initializer_list<protocol::FrameField> fields) const;
  SecretBytes post(const Endpoint& endpoint, const char* path, const char* content_type, ByteView body) const;

  Configuration configuration_;
};

}  // namespace velm::token

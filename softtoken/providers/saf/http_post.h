#pragma once

#include "softtoken/crypto/secret.h"
#include "softtoken/providers/saf/configuration.h"

namespace velm::token {

/** Maximum size of a request body and of an answer body. */
constexpr size_t kMaxHttpBody = size_t{128} * 1024 * 1024;

/** A request and its destination. */
struct HttpPost {
  Endpoint endpoint;
  const char* path;
  const char* content_type;
  ByteView body;
  std::chrono::milliseconds connect_timeout;
  std::chrono::milliseconds answer_timeout;
};

/**
 * Returns the body of an answer with status 200. Throws kSafHttpTimeout for a timeout and kSafHttpFailed for
 * any other failure. Callers must not exceed kMaxHttpBody.
 */
SecretBytes http_post(const HttpPost& post);

}  // namespace velm::token

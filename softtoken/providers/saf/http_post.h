#pragma once

#include "softtoken/crypto/secret.h"
#include "softtoken/providers/saf/configuration.h"

namespace velm::token {

/** The largest request, and the largest answer that is taken, in bytes; the service's own limit is below. */
constexpr size_t kMaxHttpBody = size_t{128} * 1024 * 1024;

/** One request and where it goes. */
struct HttpPost {
  Endpoint endpoint;
  const char* path;
  const char* content_type;
  ByteView body;
  std::chrono::milliseconds connect_timeout;
  std::chrono::milliseconds answer_timeout;
};

/**
 * The body of an answer of status 200. Throws the codes for a bad length, for a failed request and for a
 * timeout.
 */
SecretBytes http_post(const HttpPost& post);

}  // namespace velm::token

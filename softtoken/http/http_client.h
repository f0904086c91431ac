#pragma once

#include <chrono>
#include <stdexcept>
#include <string>

#include "softtoken/crypto/secret.h"

namespace velm::token {

/** A request and its destination. */
struct HttpRequest {
  std::string host;
  uint16_t port;
  std::string path;
  /** Sent with POST; without a content type the request is a GET. */
  std::string content_type{};
  ByteView body{};
  std::chrono::milliseconds connect_timeout{5000};
  /** Longest time until the header of the answer is complete, and longest silence within its body. */
  std::chrono::milliseconds answer_timeout{5000};
  size_t answer_limit = size_t{64} * 1024 * 1024;
};

struct HttpAnswer {
  unsigned status;
  SecretBytes body;
};

/** A timeout passed. */
class HttpTimeout : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/** Sends a request on a connection of its own. Throws HttpTimeout, or std::runtime_error for other failures.
 */
HttpAnswer send_request(const HttpRequest& request);

}  // namespace velm::token

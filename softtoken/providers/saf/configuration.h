#pragma once

#include <chrono>
#include <string>

namespace velm::token {

/** Where an HTTP service listens. */
struct Endpoint {
  std::string host;
  uint16_t port;
};

/** What the module's configuration file says; a key that is left out has the value given here. */
struct Configuration {
  Endpoint service{"127.0.0.1", 55661};
  Endpoint time_stamp{"127.0.0.1", 55661};
  std::chrono::milliseconds connect_timeout{3000};
  std::chrono::milliseconds answer_timeout{30000};
};

/**
 * The configuration in `key = value` lines, in UTF-8 with a byte order mark or without; throws the code for
 * bad input for any other line or key.
 */
Configuration parse_configuration(const std::string& text);

/**
 * The configuration in a file, looked for as it is named and then, a relative name, in the module's own
 * folder. Throws the code for a file that cannot be opened, and the one for bad input when it exceeds 64 KiB.
 */
Configuration load_configuration(const std::string& path);

}  // namespace velm::token

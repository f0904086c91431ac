#pragma once

#include <chrono>
#include <string>

#include "protocol/endpoint.h"
#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** Address of an HTTP service. */
struct Endpoint {
  std::string host;
  uint16_t port;
};

/** Contents of the module's configuration file. A key that is not set has the default value given here. */
struct Configuration {
  Endpoint service{protocol::kServiceHost, protocol::kServicePort};
  Endpoint time_stamp{protocol::kServiceHost, protocol::kServicePort};
  std::chrono::milliseconds connect_timeout{3000};
  std::chrono::milliseconds answer_timeout{30000};
  /** Whether the addresses may be others than those of the local machine. */
  bool allow_remote_addresses = false;
  /** File with the certificate of the TSA in DER; empty: the certificate that the local service names. */
  std::string time_stamp_certificate;
};

/**
 * Parses `key = value` lines in UTF-8, with or without a byte order mark. Ignores empty lines and lines that
 * start with '#'. Throws SafError(kSafBadInput) for any other line, an unknown key, an invalid value, or an
 * address of another machine without the setting that allows it.
 */
Configuration parse_configuration(const std::string& text);

/**
 * Loads a configuration file. A relative path is looked up in the module's folder, and as given only if that
 * folder has no such file: others may be able to write to the current folder. Throws kSafFileOpen if the file
 * cannot be opened, and kSafBadInput if it exceeds 64 KiB.
 */
Configuration load_configuration(const std::string& path);

/** Reads the file `time_stamp_certificate`. A relative path is one in the module's folder. */
Bytes read_time_stamp_certificate(const Configuration& configuration);

}  // namespace velm::token

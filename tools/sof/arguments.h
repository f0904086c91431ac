#pragma once

#include <string>

#include <CLI/App.hpp>

#include "bytes.h"

/** Arguments shared by many commands. */

inline void add_container(CLI::App& command, std::string& name) {
  command.add_option("name", name, "the container's name")->required();
}

inline void add_input(CLI::App& command, std::string& path, const char* what) {
  command.add_option("-i,--in", path, std::string(what) + "; - is standard input")->capture_default_str();
}

inline void add_required_file(CLI::App& command, const char* option, std::string& path, const char* what) {
  command.add_option(option, path, what)->required();
}

/** Option for a digest algorithm by name. The value is the identifier of GM/T 0006. */
void add_digest(CLI::App& command, uint32_t& algorithm);

/** A certificate from a file (DER or PEM) or from a container. */
class CertificateSource {
 public:
  /** @param exchange Take the container's encryption certificate instead of the signing certificate. */
  explicit CertificateSource(bool exchange = false) : exchange_(exchange) {}

  /** Unless `optional` is set, one of the options is required. */
  void add_options(CLI::App& command, bool optional = false);
  bool is_given() const { return !file_.empty() || !container_.empty(); }
  /** Returns the certificate in DER. */
  Bytes read() const;

 private:
  bool exchange_;
  std::string file_;
  std::string container_;
};

/** Returns a container's encryption certificate, or its signing certificate, in DER. */
Bytes certificate_of(const std::string& container, bool exchange);

/** A number with a name on the command line. */
struct NamedNumber {
  const char* name;
  uint32_t number;
};

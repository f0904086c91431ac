#pragma once

#include <string>

#include <CLI/App.hpp>

#include "bytes.h"

/** Arguments that many commands have. */

inline void add_container(CLI::App& command, std::string& name) {
  command.add_option("name", name, "the container's name")->required();
}

inline void add_input(CLI::App& command, std::string& path, const char* what) {
  command.add_option("-i,--in", path, std::string(what) + "; - is standard input")->capture_default_str();
}

inline void add_required_file(CLI::App& command, const char* option, std::string& path, const char* what) {
  command.add_option(option, path, what)->required();
}

/** A digest algorithm by its name; the value is that of GM/T 0006. */
void add_digest(CLI::App& command, uint32_t& algorithm);

/** A certificate: from a file, DER or PEM, or from a container. */
class CertificateSource {
 public:
  /** @param exchange Whether a container's exchange certificate is the one taken. */
  explicit CertificateSource(bool exchange = false) : exchange_(exchange) {}

  /** One of the options is required unless `optional` is set. */
  void add_options(CLI::App& command, bool optional = false);
  bool is_given() const { return !file_.empty() || !container_.empty(); }
  /** The certificate in DER. */
  Bytes read() const;

 private:
  bool exchange_;
  std::string file_;
  std::string container_;
};

/** A container's certificate in DER; the exchange certificate, or the signing one. */
Bytes certificate_of(const std::string& container, bool exchange);

/** A value that people know by a name. */
struct NamedNumber {
  const char* name;
  uint32_t number;
};

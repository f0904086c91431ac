#pragma once

#include <string>

#include <CLI/App.hpp>

#include "bytes.h"

/** Arguments shared by many commands. */

inline void add_container(CLI::App& command, std::string& name) {
  command.add_option("name", name, "name of the container")->required();
}

inline void add_input(CLI::App& command, std::string& path, const char* what) {
  command.add_option("-i,--in", path, std::string(what) + "; - is standard input")->capture_default_str();
}

inline void add_required_file(CLI::App& command, const char* option, std::string& path, const char* what) {
  command.add_option(option, path, what)->required();
}

/** Option for a digest algorithm by name. */
void add_digest(CLI::App& command, sof::Digest& digest);

/** Selects one of a container's two certificates. */
enum class KeyUse { signing, encryption };

/** A certificate from a file (DER or PEM) or from a container. */
class CertificateSource {
 public:
  /** @param use Which certificate of the container to use. */
  explicit CertificateSource(KeyUse use = KeyUse::signing) : use_(use) {}

  /** Unless `optional` is set, one of the options is required. */
  void add_options(CLI::App& command, bool optional = false);
  bool is_given() const { return !file_.empty() || !container_.empty(); }
  sof::Certificate read() const;

 private:
  KeyUse use_;
  std::string file_;
  std::string container_;
};

sof::Certificate certificate_of(const std::string& container, KeyUse use);

/** A number with a name on the command line. */
struct NamedNumber {
  const char* name;
  uint32_t number;
};

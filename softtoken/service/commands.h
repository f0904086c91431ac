#pragma once

#include <filesystem>
#include <string>

#include "softtoken/service/http_server.h"

namespace velm::token {

/** The commands of the console program; what goes wrong is thrown as std::exception. */

struct ServeOptions {
  HttpOptions http;
  unsigned idle_logout_minutes = 0;
};

/** Makes a new store. */
void init_store(const std::filesystem::path& file, bool demo);
/**
 * Answers applications until it is asked to end; a store that does not exist is made first, with the demo
 * containers.
 */
void serve(const std::filesystem::path& file, const ServeOptions& options);
/** Prints the last calls of the service that listens on a port. */
void print_trace(uint16_t port);

void add_container(const std::filesystem::path& file, const std::string& name, const std::string& type,
                   const std::string& pin);
void list_containers(const std::filesystem::path& file);
void delete_container(const std::filesystem::path& file, const std::string& name);
void unlock_container(const std::filesystem::path& file, const std::string& name);

/** Takes a private key and its certificate from a PKCS#12 or PEM file into a new container. */
void import_container(const std::filesystem::path& file, const std::string& name,
                      const std::filesystem::path& source, const std::string& password,
                      const std::string& pin);

enum class WhichCertificate { signing, exchange, authority };
/** Prints a container's certificate, or that of the demo authority which issued it, in PEM. */
void export_certificate(const std::filesystem::path& file, const std::string& name, WhichCertificate which);

}  // namespace velm::token

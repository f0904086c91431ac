#pragma once

#include <filesystem>
#include <string>

#include "softtoken/service/http_server.h"
#include "softtoken/store/client_text.h"

namespace velm::token {

/** The commands of velm_softtoken. Errors are TokenError or another std::exception. */

struct ServeOptions {
  HttpOptions http;
  unsigned idle_logout_minutes = 0;
};

/** Creates a store; `demo` adds the demo containers. */
void init_store(const std::filesystem::path& file, bool demo);
/**
 * Runs the local service until SIGINT or SIGTERM. Creates the store with the demo containers if it does not
 * exist.
 */
void serve(const std::filesystem::path& file, const ServeOptions& options);
/** Prints the last calls of the local service on this port. */
void print_trace(uint16_t port);

void add_container(const std::filesystem::path& file, const std::string& name, const std::string& type,
                   const Pin& pin);
void list_containers(const std::filesystem::path& file);
void delete_container(const std::filesystem::path& file, const ContainerName& name);
void unlock_container(const std::filesystem::path& file, const ContainerName& name);

/** Imports a private key and its certificate from a PKCS#12 or PEM file into a new container. */
void import_container(const std::filesystem::path& file, const std::string& name,
                      const std::filesystem::path& source, const std::string& password, const Pin& pin);

enum class WhichCertificate { signing, encryption, authority };
/** Prints a certificate of a container, or the certificate of the demo CA that issued it, as PEM. */
void export_certificate(const std::filesystem::path& file, const ContainerName& name, WhichCertificate which);

}  // namespace velm::token

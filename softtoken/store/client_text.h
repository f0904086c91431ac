#pragma once

#include <concepts>
#include <string>

#include "softtoken/crypto/secret.h"

namespace velm::token {

/**
 * The name by which a client addresses a container, in UTF-8. Some names in GBK are also valid UTF-8, so a
 * name may have a second reading, which applies if no container has the first. Containers have no empty name.
 */
struct ContainerName {
  explicit(false) ContainerName(std::string name, std::string second = {})
      : utf8(std::move(name)), second_reading(std::move(second)) {}
  explicit(false) ContainerName(const char* name) : utf8(name) {}

  std::string utf8;
  std::string second_reading;
};

/** A PIN in UTF-8. The limits of its length apply to the form in which the client sent it, maybe in GBK. */
struct Pin {
  template <std::convertible_to<ByteView> Text>
  explicit(false) Pin(const Text& text) : utf8(secret_copy(text)), sent_size(utf8.size()) {}
  Pin(SecretBytes text, size_t size) : utf8(std::move(text)), sent_size(size) {}

  SecretBytes utf8;
  size_t sent_size;
};

}  // namespace velm::token

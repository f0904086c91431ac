#pragma once

#include <filesystem>
#include <functional>
#include <vector>

#include "protocol/limits.h"
#include "softtoken/crypto/authority.h"
#include "softtoken/store/database.h"

namespace velm::token {

/** One container as it lies in the store: certificates in DER, private keys wrapped under the PIN. */
struct ContainerRow {
  int64_t id = 0;
  std::string name;
  uint32_t tries_left = protocol::kPinTries;
  Bytes salt;
  Bytes signing_key;
  Bytes exchange_key;
  Bytes signing_certificate;
  Bytes exchange_certificate;
};

/** The token's file: containers, the demo authority, revocations and settings. Texts are UTF-8. */
class Store {
 public:
  /** Whether there is anything in the file; a store that was not made to its end leaves an empty one. */
  static bool exists(const std::filesystem::path& file);
  /** Makes a new store and nothing else in it. */
  static void create(const std::filesystem::path& file) { Store(file, New()).make(); }

  explicit Store(const std::filesystem::path& file);

  /** A file without a store in it, made if there is none, that make() is to be called for. */
  struct New {};
  Store(const std::filesystem::path& file, New);
  /** Puts in a demo authority of its own, and what `add` adds, all of it or nothing. */
  void make(const std::function<void()>& add = [] {});

  std::vector<std::string> container_names();
  /** The container's key in the store; throws the code for no such container. */
  int64_t container_id(const std::string& name);
  bool has_container(int64_t id);
  ContainerRow container(int64_t id);
  /** Throws the code for a container that exists. */
  int64_t add_container(const ContainerRow& row);
  void delete_container(int64_t id);

  uint32_t tries_left(int64_t id);
  /** Takes one try away, durably; false when none is left. */
  bool take_try(int64_t id);
  void give_tries_back(int64_t id);
  /**
   * Puts the row's salt and keys in the place of those that are there, and gives the tries back; false, and
   * nothing done, when the salt that is there is no longer the old one.
   */
  bool replace_keys(const ContainerRow& row, const Bytes& old_salt);

  Authority authority(KeyKind kind);
  std::vector<Certificate> roots();
  void revoke(const X509* certificate);
  bool is_revoked(const X509* certificate);

  Database& database() { return database_; }

 private:
  bool is_empty();

  Database database_;
};

}  // namespace velm::token

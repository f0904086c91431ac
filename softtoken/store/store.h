#pragma once

#include <filesystem>
#include <functional>
#include <vector>

#include "protocol/limits.h"
#include "softtoken/crypto/authority.h"
#include "softtoken/store/client_text.h"
#include "softtoken/store/database.h"

namespace velm::token {

/** A container as stored: certificates in DER, private keys wrapped under the PIN. */
struct ContainerRow {
  int64_t id = 0;
  std::string name;
  uint32_t pin_retries = protocol::kPinRetries;
  Bytes salt;
  Bytes signing_key;
  Bytes encryption_key;
  Bytes signing_certificate;
  Bytes encryption_certificate;
};

/** The database of the token: containers, their data, labels, the demo CA, revocations. Texts are UTF-8. */
class Store {
 public:
  /** Returns false for an empty file too: an interrupted make() leaves one. Does not write to it. */
  static bool exists(const std::filesystem::path& file);
  /** Creates a store without containers. */
  static void create(const std::filesystem::path& file) { Store(file, New()).make(); }

  /** Opens a store; throws std::runtime_error if the file is missing or has another format version. */
  explicit Store(const std::filesystem::path& file);

  /** Opens or creates a file without a store; callers must then call make(). */
  struct New {};
  Store(const std::filesystem::path& file, New);
  /**
   * Creates the tables and a demo CA and calls `add`, in one transaction. Throws std::runtime_error if the
   * store exists.
   */
  void make(const std::function<void()>& add = [] {});

  std::vector<std::string> container_names();
  /** Throws kNoSuchContainer. */
  int64_t container_id(const ContainerName& name);
  bool has_container(int64_t id);
  /** Throws kNoSuchContainer. */
  ContainerRow container(const ContainerName& name);
  /** All containers, oldest first. */
  std::vector<ContainerRow> containers();
  /** Returns the id of the new container; throws kContainerExists. */
  int64_t add_container(const ContainerRow& row);
  void delete_container(int64_t id);

  /**
   * Decrements the PIN retry counter durably. Throws kPinLocked if it is 0, and kWrongPin if the PIN was
   * changed after the row was read.
   */
  void take_pin_try(const ContainerRow& row);
  /** Resets the counter after the correct PIN. Throws kWrongPin as above. */
  void return_pin_tries(const ContainerRow& row);
  /** Resets the PIN retry counter. */
  void reset_pin_retries(int64_t id);
  /**
   * Replaces salt and keys and resets the PIN retry counter. Returns false without changes unless the stored
   * salt is `old_salt`.
   */
  bool replace_keys(const ContainerRow& row, const Bytes& old_salt);

  Authority authority(KeyKind kind);
  /** The certificates of the demo CAs. */
  std::vector<Certificate> roots();
  void revoke(const X509* certificate);
  bool is_revoked(const X509* certificate);

  Database& database() { return database_; }

 private:
  Database database_;
};

}  // namespace velm::token

#pragma once

#include <array>
#include <mutex>

#include "softtoken/store/client_text.h"
#include "softtoken/store/sessions.h"
#include "softtoken/store/store.h"

namespace velm::token {

constexpr const char* kDeviceName = "VELM Software Token";

/** Parameters of a new container. */
struct ContainerOrder {
  std::string name;
  KeyKind kind = KeyKind::sm2;
  unsigned rsa_bits = 2048;
  /** Validity of the certificates; both 0: from one day ago until ten years from now. */
  time_t not_before = 0;
  time_t not_after = 0;
};

/** A private key and its certificate, to be imported. */
struct Credential {
  Key key;
  Certificate certificate;
};

/**
 * The token: its store and its sessions. Functions for an existing container throw kNoSuchContainer; database
 * errors are std::runtime_error. Thread-safe.
 */
class Token {
 public:
  explicit Token(const std::filesystem::path& file) : store_(file) {}
  /** For a file without a store; callers must call store().make(). */
  Token(const std::filesystem::path& file, Store::New is_new) : store_(file, is_new) {}

  std::vector<std::string> container_names() { return store_.container_names(); }
  int64_t container_id(const ContainerName& name) { return store_.container_id(name); }
  ContainerRow container(const ContainerName& name) { return store_.container(name); }

  /** Throws kWrongPin, or kPinLocked if the PIN retry counter is 0. */
  void login(const ContainerName& name, const Pin& pin);
  void logout(const ContainerName& name) { sessions_.close(container_id(name)); }
  /** Throws kNotLoggedIn. Does not restart the idle time of the session. */
  void require_login(int64_t container) { require(sessions_.is_open(container), kNotLoggedIn); }
  void require_login(const ContainerName& name) { require_login(container_id(name)); }
  /** Returns the session and restarts its idle time; throws kNotLoggedIn. */
  std::shared_ptr<const Session> session(const ContainerName& name) {
    return sessions_.use(container_id(name));
  }

  /** The PIN retry counter. */
  uint32_t pin_retries(const ContainerName& name) { return container(name).pin_retries; }
  /** Throws kBadInput if the length of the new PIN is out of range; otherwise like login(). */
  void change_pin(const ContainerName& name, const Pin& old_pin, const Pin& new_pin);
  /** Like login(), but opens no session. Returns the id of the container. */
  int64_t check_pin(const ContainerName& name, const Pin& pin);
  /** Resets the PIN retry counter. */
  void unlock(const ContainerName& name) { store_.reset_pin_retries(container_id(name)); }

  /** Generates both key pairs. Throws kContainerExists, or kBadInput for an invalid name or PIN length. */
  int64_t add_container(const ContainerOrder& order, const Pin& pin);
  /**
   * Uses the given key for signing and encryption. Throws kKeyMismatch if key and certificate do not match,
   * kBadLength if one is too long, and like add_container().
   */
  int64_t import_container(const std::string& name, const Credential& credential, const Pin& pin);
  void delete_container(const ContainerName& name);

  /** Verifies a certificate under the demo CA: throws like validate_chain(), or kCertificateRevoked. */
  void validate(X509* certificate);

  void set_longest_idle_limit(std::chrono::minutes limit) { sessions_.set_longest_idle_limit(limit); }
  void set_idle_limit(std::chrono::minutes limit) { sessions_.set_idle_limit(limit); }
  /** Closes idle sessions and sessions of deleted containers. */
  void close_idle_sessions(Sessions::Clock::time_point now = Sessions::Clock::now());

  Store& store() { return store_; }

 private:
  struct PrivateKeys {
    SecretBytes signing;
    SecretBytes encryption;
  };

  /**
   * Calls that try a PIN of one container take turns: concurrent ones would exhaust the counter although
   * every PIN is correct. Containers may share a turn.
   */
  std::unique_lock<std::mutex> turn_of(const ContainerName& name);
  PrivateKeys open_keys(const ContainerRow& row, const Pin& pin);
  /** Wraps the keys under the PIN with a fresh salt. */
  static void wrap_keys(ContainerRow& row, const PrivateKeys& keys, const Pin& pin);
  int64_t store_container(ContainerRow row, const PrivateKeys& keys, const Pin& pin);

  Store store_;
  Sessions sessions_;
  std::array<std::mutex, 64> turns_;
};

}  // namespace velm::token

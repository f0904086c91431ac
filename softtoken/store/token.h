#pragma once

#include "softtoken/store/sessions.h"
#include "softtoken/store/store.h"

namespace velm::token {

/** What a new container is made of. */
struct ContainerOrder {
  std::string name;
  KeyKind kind = KeyKind::sm2;
  unsigned rsa_bits = 2048;
  /** Validity of its certificates; both 0: from yesterday on for ten years. */
  time_t not_before = 0;
  time_t not_after = 0;
};

/** A private key and its certificate from elsewhere. */
struct Credential {
  Key key;
  Certificate certificate;
};

/**
 * The token: its store, and who is logged in. Container names and PINs come as clients send them, in UTF-8 or
 * GBK; both forms mean the same.
 * Every function throws TokenError with the code that the client receives; any thread may call it.
 */
class Token {
 public:
  explicit Token(const std::filesystem::path& file) : store_(file) {}
  /** On a file without a store in it yet. */
  Token(const std::filesystem::path& file, Store::New is_new) : store_(file, is_new) {}

  std::vector<std::string> container_names() { return store_.container_names(); }
  /** The container of a name; throws the code for no such container. */
  int64_t container_id(const std::string& name);
  ContainerRow container(const std::string& name) { return store_.container(container_id(name)); }

  void login(const std::string& name, ByteView pin);
  void logout(const std::string& name) { sessions_.close(container_id(name)); }
  /** Throws the code for not logged in. Does not count as a use of the session. */
  void require_login(const std::string& name) {
    require(sessions_.is_open(container_id(name)), kNotLoggedIn);
  }
  std::shared_ptr<const Session> session(const std::string& name) {
    return sessions_.use(container_id(name));
  }

  uint32_t tries_left(const std::string& name) { return store_.tries_left(container_id(name)); }
  void change_pin(const std::string& name, ByteView old_pin, ByteView new_pin);
  /** Counts as a try, as a login does. */
  void check_pin(const std::string& name, ByteView pin) { open_keys(container(name), pin); }
  void unlock(const std::string& name) { store_.give_tries_back(container_id(name)); }

  int64_t add_container(const ContainerOrder& order, ByteView pin);
  /** A container whose signing and exchange key are both the given one. */
  int64_t import_container(const std::string& name, const Credential& credential, ByteView pin);
  void delete_container(const std::string& name);

  /** Throws the code for what is wrong with a certificate, under the demo authority and its revocations. */
  void validate(X509* certificate);

  void set_idle_limit(std::chrono::minutes limit) { sessions_.set_idle_limit(limit); }
  /** Lets go of sessions that nothing has used for too long, and of those whose container is gone. */
  void close_idle_sessions(Sessions::Clock::time_point now = Sessions::Clock::now());

  Store& store() { return store_; }

 private:
  struct PrivateKeys {
    SecretBytes signing;
    SecretBytes exchange;
  };

  PrivateKeys open_keys(const ContainerRow& row, ByteView pin);
  /** Puts the keys into a row, under a PIN and a fresh salt. */
  static void wrap_keys(ContainerRow& row, const PrivateKeys& keys, ByteView pin);
  int64_t store_container(ContainerRow row, const PrivateKeys& keys, ByteView pin);

  Store store_;
  Sessions sessions_;
};

}  // namespace velm::token

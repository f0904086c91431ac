#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "softtoken/crypto/keys.h"

namespace velm::token {

/** The private keys of a container that is logged in; calls in progress keep them alive after a logout. */
struct Session {
  Key signing_key;
  Key encryption_key;
  Certificate signing_certificate;
  Certificate encryption_certificate;
};

/** The open sessions, by container. Thread-safe. */
class Sessions {
 public:
  using Clock = std::chrono::steady_clock;

  /** The operator's limit, which set_idle_limit() cannot exceed; 0: none. */
  void set_longest_idle_limit(std::chrono::minutes limit);
  /** Sessions that are unused for this long are closed; 0: as late as the operator allows. */
  void set_idle_limit(std::chrono::minutes limit);

  void open(int64_t container, std::shared_ptr<const Session> session);
  /** Returns the session and restarts its idle time; throws kNotLoggedIn. */
  std::shared_ptr<const Session> use(int64_t container);
  /** Does not restart the idle time. */
  bool is_open(int64_t container);
  std::vector<int64_t> containers();
  void close(int64_t container);
  void close_idle(Clock::time_point now = Clock::now());

 private:
  struct Entry {
    std::shared_ptr<const Session> session;
    Clock::time_point used;
  };

  std::mutex mutex_;
  std::unordered_map<int64_t, Entry> open_;
  std::chrono::minutes longest_idle_limit_{0};
  std::chrono::minutes idle_limit_{0};
};

}  // namespace velm::token

#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "softtoken/crypto/keys.h"

namespace velm::token {

/** A container that is logged in: its private keys, in memory until the last user lets go of them. */
struct Session {
  Key signing_key;
  Key exchange_key;
  Certificate signing_certificate;
  Certificate exchange_certificate;
};

/** Who is logged in. Any thread may ask; keys go with the session that held them. */
class Sessions {
 public:
  using Clock = std::chrono::steady_clock;

  /** Sessions end when nothing has used them for this long; 0 lets them stay. */
  void set_idle_limit(std::chrono::minutes limit);

  void open(int64_t container, std::shared_ptr<const Session> session);
  /** The session, which counts as used now; throws the code for not logged in. */
  std::shared_ptr<const Session> use(int64_t container);
  /** Does not count as a use. */
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
  std::chrono::minutes idle_limit_{0};
};

}  // namespace velm::token

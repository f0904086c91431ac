#include "softtoken/store/sessions.h"

namespace velm::token {

void Sessions::set_longest_idle_limit(std::chrono::minutes limit) {
  const std::lock_guard lock(mutex_);
  longest_idle_limit_ = idle_limit_ = limit;
}

void Sessions::set_idle_limit(std::chrono::minutes limit) {
  const std::lock_guard lock(mutex_);
  const bool exceeds = limit.count() == 0 || limit > longest_idle_limit_;
  idle_limit_ = exceeds && longest_idle_limit_.count() != 0 ? longest_idle_limit_ : limit;
}

void Sessions::open(int64_t container, std::shared_ptr<const Session> session) {
  const std::lock_guard lock(mutex_);
  open_[container] = {std::move(session), Clock::now()};
}

std::shared_ptr<const Session> Sessions::use(int64_t container) {
  close_idle();
  const std::lock_guard lock(mutex_);
  const auto found = open_.find(container);
  require(found != open_.end(), kNotLoggedIn);
  found->second.used = Clock::now();
  return found->second.session;
}

bool Sessions::is_open(int64_t container) {
  close_idle();
  const std::lock_guard lock(mutex_);
  return open_.contains(container);
}

std::vector<int64_t> Sessions::containers() {
  const std::lock_guard lock(mutex_);
  std::vector<int64_t> containers;
  containers.reserve(open_.size());
  for (const auto& [container, entry] : open_) containers.push_back(container);
  return containers;
}

void Sessions::close(int64_t container) {
  const std::lock_guard lock(mutex_);
  open_.erase(container);
}

void Sessions::close_idle(Clock::time_point now) {
  const std::lock_guard lock(mutex_);
  if (idle_limit_.count() == 0) return;
  // Compare in minutes: the longest limit that a client can set overflows the ticks of the clock.
  std::erase_if(open_, [&](const auto& entry) {
    return std::chrono::duration_cast<std::chrono::minutes>(now - entry.second.used) >= idle_limit_;
  });
}

}  // namespace velm::token

// A value shared by all threads. Lock-free: until one thread has published the value, each thread computes
// its own copy.
#pragma once

#include <atomic>

namespace velm {

template <class Value>
class PublishedOnce {
 public:
  // `work_out` fills a value and returns true on success. A failed attempt publishes nothing.
  template <class WorkOut>
  Value get(WorkOut work_out) noexcept {
    if (state_.load(std::memory_order_acquire) == kPublished) return value_;
    Value value{};
    if (!work_out(value)) return value;
    int expected = kEmpty;
    if (state_.compare_exchange_strong(expected, kPublishing)) {
      value_ = value;
      state_.store(kPublished, std::memory_order_release);
    }
    return value;
  }

 private:
  enum { kEmpty, kPublishing, kPublished };

  std::atomic<int> state_{kEmpty};
  Value value_{};
};

}  // namespace velm

// std::latch of libstdc++ 12 loses wake-ups in programs built with mingw: about one run in five of a test
// that starts eight threads a hundred times hung. This one is built on a condition variable.
#pragma once

#include <condition_variable>
#include <mutex>

namespace velm::test {

class Latch {
 public:
  explicit Latch(int count) : count_(count) {}

  void count_down() {
    const std::lock_guard lock(mutex_);
    if (--count_ == 0) open_.notify_all();
  }
  void wait() {
    std::unique_lock lock(mutex_);
    open_.wait(lock, [this] { return count_ == 0; });
  }
  void arrive_and_wait() {
    count_down();
    wait();
  }

 private:
  std::mutex mutex_;
  std::condition_variable open_;
  int count_;
};

}  // namespace velm::test

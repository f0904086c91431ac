#pragma once

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace velm::token {

/**
 * Threads for connections. A thread is added whenever none is idle, up to a limit, so that silent connections
 * do not delay others until they time out.
 */
class GrowingThreadPool {
 public:
  explicit GrowingThreadPool(size_t limit) : limit_(limit) {}
  GrowingThreadPool(const GrowingThreadPool&) = delete;
  /** Waits until all jobs have finished. */
  ~GrowingThreadPool();

  /** Queues a job, which must not throw; returns false if no thread is idle and none can be added. */
  bool enqueue(std::function<void()> job);

 private:
  void work();

  const size_t limit_;
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<std::function<void()>> jobs_;
  std::vector<std::thread> threads_;
  size_t waiting_ = 0;
  bool ending_ = false;
};

inline bool GrowingThreadPool::enqueue(std::function<void()> job) try {
  const std::lock_guard lock(mutex_);
  if (jobs_.size() >= waiting_) {
    if (threads_.size() >= limit_) return false;
    threads_.emplace_back([this] { work(); });
  }
  jobs_.push_back(std::move(job));
  arrived_.notify_one();
  return true;
} catch (const std::exception&) {
  return false;  // out of threads or memory
}

inline GrowingThreadPool::~GrowingThreadPool() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  arrived_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

inline void GrowingThreadPool::work() {
  std::unique_lock lock(mutex_);
  while (true) {
    ++waiting_;
    arrived_.wait(lock, [this] { return ending_ || !jobs_.empty(); });
    --waiting_;
    if (jobs_.empty()) return;
    const std::function<void()> job = std::move(jobs_.front());
    jobs_.pop_front();
    lock.unlock();
    job();
    lock.lock();
  }
}

}  // namespace velm::token

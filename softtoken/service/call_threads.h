#pragma once

#include <cstdio>
#include <exception>
#include <thread>
#include <vector>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

namespace velm::token {

/** Threads for long calls. Unlike those of asio::thread_pool they survive an exception: missing memory. */
class CallThreads {
 public:
  using Executor = boost::asio::io_context::executor_type;

  // Delegates, so that the destructor ends the first threads if the system has no further one.
  explicit CallThreads(unsigned count) : CallThreads() {
    threads_.reserve(count);
    while (threads_.size() < count) threads_.emplace_back([this] { run(); });
  }
  CallThreads(const CallThreads&) = delete;
  ~CallThreads() { stop(); }

  Executor executor() { return io_.get_executor(); }

  /** Ends the threads after the calls in progress; calls that have not begun are abandoned. */
  void stop() {
    io_.stop();
    for (std::thread& thread : threads_) thread.join();
    threads_.clear();
  }

 private:
  CallThreads() = default;

  void run() {
    while (!io_.stopped()) {
      try {
        io_.run();
      } catch (const std::exception& error) {
        std::fprintf(stderr, "velm_softtoken: %s\n", error.what());
      }
    }
  }

  boost::asio::io_context io_;
  boost::asio::executor_work_guard<Executor> work_{io_.get_executor()};
  std::vector<std::thread> threads_;
};

}  // namespace velm::token

#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

namespace velm::token {

/** The last calls: function, result code and time, but no arguments. Thread-safe. */
class Trace {
 public:
  void record(const char* function, uint32_t code, std::chrono::microseconds duration);
  /** One line per call, oldest first. */
  std::string text() const;

 private:
  struct Call {
    std::chrono::system_clock::time_point ended;
    const char* function;
    uint32_t code;
    std::chrono::microseconds duration;
  };

  mutable std::mutex mutex_;
  std::array<Call, 1000> calls_;
  size_t count_ = 0;
};

}  // namespace velm::token

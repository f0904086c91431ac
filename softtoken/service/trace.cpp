#include "softtoken/service/trace.h"

#include <cstdio>
#include <ctime>

namespace velm::token {

void Trace::record(const char* function, uint32_t code, std::chrono::microseconds duration) {
  const std::lock_guard lock(mutex_);
  calls_[count_++ % calls_.size()] = {std::chrono::system_clock::now(), function, code, duration};
}

std::string Trace::text() const {
  const std::lock_guard lock(mutex_);
  std::string text;
  for (size_t i = count_ > calls_.size() ? count_ - calls_.size() : 0; i < count_; ++i) {
    const Call& call = calls_[i % calls_.size()];
    const std::time_t seconds = std::chrono::system_clock::to_time_t(call.ended);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(call.ended.time_since_epoch()).count() % 1000;
    char time[32];
    std::strftime(time, sizeof time, "%Y-%m-%d %H:%M:%S", std::localtime(&seconds));
    char line[128];
    std::snprintf(line, sizeof line, "%s.%03d  %-24s 0x%08X  %8lld us\n", time,
                  static_cast<int>(milliseconds), call.function, static_cast<unsigned>(call.code),
                  static_cast<long long>(call.duration.count()));
    text += line;
  }
  return text;
}

}  // namespace velm::token

#include "progress.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <future>
#include <string>

#include "input_output.h"

namespace {

constexpr uint64_t kWorthShowing = uint64_t{8} << 20;
constexpr uint64_t kBarWidth = 30;

uint64_t bytes_read_by_this_process() {
  IO_COUNTERS counters{};
  return GetProcessIoCounters(GetCurrentProcess(), &counters) ? counters.ReadTransferCount : 0;
}

double mebibytes(uint64_t bytes) { return static_cast<double>(bytes) / (1 << 20); }

// The file may be read more than once and systems count differently, so the bar is capped at 100%.
std::string line_of(uint64_t read, uint64_t size, double seconds) {
  char text[128];
  if (read == 0) {
    std::snprintf(text, sizeof text, "\rworking on %.1f MiB, %.0f s ", mebibytes(size), seconds);
    return text;
  }
  read = std::min(read, size);
  const std::string done(static_cast<size_t>(read * kBarWidth / size), '#');
  std::snprintf(text, sizeof text, "\r[%-30s] %.1f of %.1f MiB read, %.0f s ", done.c_str(), mebibytes(read),
                mebibytes(size), seconds);
  return text;
}

}  // namespace

void show_progress(uint64_t size, const std::function<void()>& call) {
  using Clock = std::chrono::steady_clock;
  if (size <= kWorthShowing || !is_console(Stream::error)) return call();
  const uint64_t read_before = bytes_read_by_this_process();
  const Clock::time_point start = Clock::now();
  std::future<void> result = std::async(std::launch::async, call);
  while (result.wait_for(std::chrono::milliseconds(200)) != std::future_status::ready) {
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    write_standard_error(line_of(bytes_read_by_this_process() - read_before, size, seconds));
  }
  write_standard_error("\r" + std::string(78, ' ') + "\r");
  result.get();
}

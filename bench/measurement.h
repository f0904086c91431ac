// What the measuring programs share: values as lines "name value", the clock, and the exit code that says
// whether anything could be measured.
#pragma once

#include <chrono>
#include <cstdio>
#include <stdexcept>

namespace velm::bench {

inline void require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

// A figure; its name's row in figures.toml says what it means.
inline void report(const char* name, double value) { std::printf("%s %.4f\n", name, value); }

// How long the work takes, in seconds.
template <class Work>
double seconds(const Work& work) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// The program's exit code: 0, or 2 when nothing could be measured.
template <class Measure>
int run(const Measure& measure) {
  try {
    measure();
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 2;
  }
}

}  // namespace velm::bench

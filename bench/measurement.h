// Shared by the benchmark programs: output of values as lines "name value", the clock, and the exit code.
#pragma once

#include <chrono>
#include <cstdio>
#include <stdexcept>

namespace velm::bench {

inline void require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

// Prints a figure. Its row in figures.toml describes it.
inline void report(const char* name, double value) { std::printf("%s %.4f\n", name, value); }

// Duration of `work` in seconds.
template <class Work>
double seconds(const Work& work) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Exit code of the program: 0, or 2 if the measurement failed.
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

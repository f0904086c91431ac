// What the measuring programs share: values as lines "name value", bounds, and the exit code that says
// whether they hold.
#pragma once

#include <cstdio>
#include <stdexcept>

namespace velm::bench {

inline void require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

inline void report(const char* name, double value) { std::printf("%s %.4f\n", name, value); }

// Whether the value is within its bound.
inline bool report(const char* name, double value, double most) {
  report(name, value);
  if (value > most) std::fprintf(stderr, "%s is above %.2f\n", name, most);
  return value <= most;
}

// The program's exit code: 0 when every value holds, 1 when one does not, 2 when nothing could be measured.
template <class Measure>
int run(const Measure& measure) {
  try {
    return measure() ? 0 : 1;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 2;
  }
}

}  // namespace velm::bench

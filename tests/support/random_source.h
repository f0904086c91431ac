// Pseudo-random choices that depend on the seed only, not on the C++ library.
#pragma once

#include <array>
#include <cstdint>
#include <random>
#include <span>
#include <string>

namespace velm::test {

class RandomSource {
 public:
  // Each step has its own sequence, so that it can be repeated without the steps before it.
  RandomSource(uint64_t seed, uint64_t step) : engine_(seed * 0x9E3779B97F4A7C15u + step) {}

  uint64_t number() { return engine_(); }

  // Returns a number less than `bound`, or 0 if `bound` is 0.
  size_t below(size_t bound) { return bound == 0 ? 0 : static_cast<size_t>(engine_() % bound); }

  bool one_in(size_t count) { return below(count) == 0; }

  template <class Value, size_t size>
  const Value& one_of(const Value (&values)[size]) {
    return values[below(size)];
  }
  template <class Value>
  const Value& one_of(std::span<const Value> values) {
    return values[below(values.size())];
  }

  std::string bytes(size_t count) {
    std::string bytes(count, '\0');
    for (char& byte : bytes) byte = static_cast<char>(engine_());
    return bytes;
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace velm::test

// For benchmark programs that a script controls. Each command is a line of standard input and is answered
// with a line "answer VALUES".
#pragma once

#include <iostream>
#include <sstream>
#include <string>

#include "bench/measurement.h"

namespace velm::bench {

// Duration of a call of the library in seconds, as text.
template <class Call>
std::string seconds_of(const Call& call) {
  uint32_t result = 0;
  const double taken = seconds([&] { result = call(); });
  require(result == 0, "the call failed");
  return std::to_string(taken);
}

// `obey` executes a command and returns its answer.
template <class Obey>
void obey_commands(const Obey& obey) {
  for (std::string line; std::getline(std::cin, line);) {
    std::cout << "answer " << obey(std::istringstream(line)) << std::endl;
  }
}

}  // namespace velm::bench

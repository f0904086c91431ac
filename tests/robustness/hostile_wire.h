// Ways in which a hostile or faulty service sends a body over a real connection.
#pragma once

#include <string>

#include "support/answer.h"
#include "support/random_source.h"

namespace velm::test {

// How much of the body reaches an HTTP client.
enum class Arrival { kWhole, kInPart, kAnything };

struct WireAnswer {
  Answer answer;
  Arrival arrival;
};

WireAnswer hostile_wire(RandomSource& random, const std::string& body);

}  // namespace velm::test

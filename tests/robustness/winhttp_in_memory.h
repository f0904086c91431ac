// WinHTTP as the library imports it, replaced by an exchange in memory: the library sends to nobody and reads
// a body that the test has laid out, in pieces and with failures of the test's choosing.
#pragma once

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

#include "robustness/random_source.h"
#include "support/import_patch.h"

namespace velm::test {

// The step of an exchange that fails, if any.
enum class HttpFault { kNone, kOpen, kTimeouts, kConnect, kRequest, kSend, kReceive, kQuery, kRead };

class WinHttpInMemory {
 public:
  explicit WinHttpInMemory(HMODULE library);
  ~WinHttpInMemory();

  // The next exchange. `random` chooses the pieces in which the body comes; it must outlive the exchange.
  void serve(std::string body, HttpFault fault, RandomSource& random);

  // Of the exchange since serve():
  bool was_used() const;           // the library has opened a session
  bool has_answered() const;       // the answer's head was received
  std::string received() const;    // the part of the body that was read
  size_t handles_left() const;     // opened and not closed

 private:
  std::vector<std::unique_ptr<ImportPatch>> patches_;
};

}  // namespace velm::test

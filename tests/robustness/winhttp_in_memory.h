// Replaces the library's WinHTTP imports by an exchange in memory: nothing is sent, and the library reads a
// body that the test supplies, in pieces and with the failures that the test selects.
#pragma once

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

#include "support/import_patch.h"
#include "support/random_source.h"

namespace velm::test {

// The step of an exchange that fails.
enum class HttpFault { kNone, kOpen, kTimeouts, kConnect, kRequest, kSend, kReceive, kQuery, kRead };

class WinHttpInMemory {
 public:
  explicit WinHttpInMemory(HMODULE library);
  ~WinHttpInMemory();

  // Sets up the next exchange. `random` selects the pieces of the body; it must outlive the exchange.
  void serve(std::string body, HttpFault fault, RandomSource& random);

  // State of the exchange since serve():
  bool was_used() const;         // the library opened a session
  bool has_answered() const;     // the response head was received
  std::string received() const;  // the part of the body that was read
  size_t handles_left() const;   // opened and not closed

 private:
  std::vector<std::unique_ptr<ImportPatch>> patches_;
};

}  // namespace velm::test

// The fixture of most tests of exported functions: stand-in modules, the scripted service, a freshly loaded
// library with every log line written. A test ends with every answer played and no request unanswered.
#pragma once

#include <gmock/gmock.h>

#include "support/client_library.h"
#include "support/log_reader.h"
#include "support/service_double.h"
#include "support/standins.h"

namespace velm::test {

class ClientTest : public testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(service.unexpected(), 0u) << "requests that the test has no answer for";
    EXPECT_EQ(service.unplayed(), 0u) << "answers that no request has asked for";
  }

  Standins standins;
  ServiceDouble service;
  ClientLibrary library{Marker::kPresent};
  LogReader log;
};

}  // namespace velm::test

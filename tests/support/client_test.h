// Fixture of most tests of exported functions: stand-in modules, the service double, and a freshly loaded
// library that writes every log line. A test fails if an answer was not played or a request had no answer.
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
    EXPECT_EQ(service.unexpected(), 0u) << "requests without an answer";
    EXPECT_EQ(service.unplayed(), 0u) << "unused answers";
  }

  Standins standins;
  ServiceDouble service;
  ClientLibrary library{Marker::kPresent};
  LogReader log;
};

}  // namespace velm::test

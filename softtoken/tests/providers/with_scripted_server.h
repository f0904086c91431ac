#pragma once

#include <memory>

#include <gtest/gtest.h>

#include "provider_abi/velm_client_saf.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/samples.h"
#include "softtoken/tests/providers/scripted_server.h"

namespace velm::token {

/** Fixture with a scripted server and an application configured to use it. */
class WithScriptedServer : public testing::Test {
 protected:
  /** @param configuration Name of the configuration file, which exists during the test. */
  explicit WithScriptedServer(std::string configuration) : configuration_(std::move(configuration)) {}

  /**
   * Starts the server and opens the application.
   * @param script Called for each request, on a thread of the server.
   * @param keys The configuration keys for the server's address.
   * @param settings Further lines of the configuration.
   */
  void serve(ScriptedServer::Script script, std::initializer_list<const char*> keys,
             const std::string& settings = {}) {
    server_ = std::make_unique<ScriptedServer>(std::move(script));
    std::string text = settings;
    for (const std::string key : keys) text += key + " = 127.0.0.1:" + std::to_string(server_->port()) + "\n";
    write_file(configuration_, as_bytes(text));
    ASSERT_EQ(SAF_Initialize(&application_, configuration_.c_str()), kSafSuccess);
  }
  void TearDown() override {
    EXPECT_EQ(SAF_Finalize(application_), kSafSuccess);
    server_.reset();
    std::remove(configuration_.c_str());
  }

  void* application() { return application_; }

 private:
  std::string configuration_;
  std::unique_ptr<ScriptedServer> server_;
  void* application_ = nullptr;
};

}  // namespace velm::token

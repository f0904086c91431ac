#pragma once

#include <thread>

#include <gtest/gtest.h>
#include <httplib.h>

#include "provider_abi/velm_client_saf.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/samples.h"

namespace velm::token {

/** Fixture with a scripted server and an application configured to use it. */
class WithScriptedServer : public testing::Test {
 protected:
  /** @param configuration Name of the configuration file, which exists during the test. */
  explicit WithScriptedServer(std::string configuration) : configuration_(std::move(configuration)) {}

  /**
   * Starts the server and opens the application. Handlers must be registered before.
   * @param key The configuration key for the server's address.
   * @param settings Further lines of the configuration.
   */
  void serve(const std::string& key, const std::string& settings = {}) {
    const int port = server_.bind_to_any_port("127.0.0.1");
    ASSERT_GT(port, 0);
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    server_.wait_until_ready();
    write_file(configuration_, as_bytes(key + " = 127.0.0.1:" + std::to_string(port) + "\n" + settings));
    ASSERT_EQ(SAF_Initialize(&application_, configuration_.c_str()), kSafSuccess);
  }
  void TearDown() override {
    EXPECT_EQ(SAF_Finalize(application_), kSafSuccess);
    server_.stop();
    thread_.join();
    std::remove(configuration_.c_str());
  }

  httplib::Server& server() { return server_; }
  void* application() { return application_; }

 private:
  std::string configuration_;
  httplib::Server server_;
  std::thread thread_;
  void* application_ = nullptr;
};

}  // namespace velm::token

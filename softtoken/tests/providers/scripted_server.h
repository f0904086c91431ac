#pragma once

#include <thread>

#include <gtest/gtest.h>
#include <httplib.h>

#include "provider_abi/velm_client_saf.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/samples.h"

namespace velm::token {

/** A test with a server of its own and an application that is told to ask it. */
class WithScriptedServer : public testing::Test {
 protected:
  /** @param configuration The file that names the server, made for the time of the test. */
  explicit WithScriptedServer(std::string configuration) : configuration_(std::move(configuration)) {}

  /**
   * Starts the server, whose handlers stand, and opens the application.
   * @param key The setting that names the server.
   * @param settings Lines of the configuration beside it.
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

// Runs the command `serve --idle-logout 1` with a clock that the test advances.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "softtoken/http/http_client.h"
#include "softtoken/service/commands.h"
#include "softtoken/tests/store/temporary_store.h"

namespace {

using Clock = std::chrono::steady_clock;
std::atomic<Clock::duration> advanced{};

}  // namespace

// std::chrono::steady_clock::now(). The linker substitutes this for it.
extern "C" {

Clock::time_point __real__ZNSt6chrono3_V212steady_clock3nowEv();

Clock::time_point __wrap__ZNSt6chrono3_V212steady_clock3nowEv() {
  return __real__ZNSt6chrono3_V212steady_clock3nowEv() + advanced.load();
}

}  // extern "C"

namespace velm::token {
namespace {

using std::chrono::seconds;

constexpr const char* kSuccessCode = "0";
constexpr const char* kNotLoggedInCode = "B000438";

uint16_t free_port() {
  const int probe = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  bind(probe, reinterpret_cast<sockaddr*>(&address), size);
  getsockname(probe, reinterpret_cast<sockaddr*>(&address), &size);
  close(probe);
  return ntohs(address.sin_port);
}

class IdleLogout : public testing::Test {
 protected:
  IdleLogout() {
    Token(store.file()).add_container({.name = "A"}, as_bytes("12345678"));
    serving =
        std::thread([this] { serve(store.file(), {.http = {.port = port}, .idle_logout_minutes = 1}); });
  }
  ~IdleLogout() override {
    kill(getpid(), SIGTERM);
    serving.join();
  }

  HttpAnswer post(const char* content_type, ByteView body) const {
    const auto give_up = std::chrono::system_clock::now() + seconds(20);
    while (true) {
      try {
        return send_request(
            {.host = "127.0.0.1", .port = port, .path = "/", .content_type = content_type, .body = body});
      } catch (const std::runtime_error&) {  // the service has not started
        if (std::chrono::system_clock::now() > give_up) throw;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
      }
    }
  }

  std::string code_of_call(const char* json) const {
    return nlohmann::json::parse(post("application/json", as_bytes(json)).body)["ErrorCode"];
  }
  std::string login() const { return code_of_call(R"({"funcid":7,"UserName":"A","PassWd":"MTIzNDU2Nzg="})"); }
  std::string is_login() const { return code_of_call(R"({"funcid":45,"containerName":"A"})"); }
  std::string sign() const { return code_of_call(R"({"funcid":15,"ContainerName":"A","InData":"YQ=="})"); }
  void set_limit(uint8_t minutes) const {
    const uint8_t request[] = {0x77, 43, 1, 0, 0, 0, 4, 0, 0, 0, minutes, 0, 0, 0};
    const SecretBytes answer = post("application/octet-stream", request).body;
    EXPECT_EQ(answer, SecretBytes(8)) << "success without data";
  }
  static void pass(seconds time) { advanced = advanced.load() + time; }

  TemporaryStore store;
  const uint16_t port = free_port();
  std::thread serving;
};

// The command can run once in a process.
TEST_F(IdleLogout, EndsAnUnusedLoginAfterTheTimeOfTheOperator) {
  EXPECT_EQ(login(), kSuccessCode);
  pass(seconds(50));
  EXPECT_EQ(is_login(), kSuccessCode);
  pass(seconds(15));
  EXPECT_EQ(is_login(), kNotLoggedInCode) << "the question whether it is open does not use a login";

  EXPECT_EQ(login(), kSuccessCode);
  for (int use = 0; use < 3; ++use) {
    pass(seconds(50));
    EXPECT_EQ(sign(), kSuccessCode) << "a signature uses it";
  }
  pass(seconds(65));
  EXPECT_EQ(sign(), kNotLoggedInCode);

  for (const uint8_t minutes : {uint8_t{60}, uint8_t{0}}) {
    set_limit(minutes);
    EXPECT_EQ(login(), kSuccessCode);
    pass(seconds(65));
    EXPECT_EQ(is_login(), kNotLoggedInCode) << "no client sets a longer time";
  }
}

}  // namespace
}  // namespace velm::token

// Calls the service from many threads at once. Built with ThreadSanitizer, this detects data races.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

#include <nlohmann/json.hpp>

#include "softtoken/http/http_client.h"
#include "softtoken/service/dispatch.h"
#include "softtoken/service/http_server.h"
#include "softtoken/store/user_data.h"
#include "softtoken/tests/store/temporary_store.h"

namespace velm::token {
namespace {

constexpr size_t kClients = 6;
constexpr int kTurns = 10;
constexpr const char* kPin = "12345678";
constexpr const char* kContainers[] = {"SM2_TEST", "RSA_TEST"};

// Runs each task in a thread of its own. Client tasks receive their number.
void run_at_once(const std::function<void(size_t)>& client,
                 const std::vector<std::function<void()>>& others) {
  std::vector<std::thread> threads;
  for (size_t number = 0; number < kClients; ++number) threads.emplace_back(client, number);
  for (const auto& other : others) threads.emplace_back(other);
  for (std::thread& thread : threads) thread.join();
}

class Threads : public testing::Test {
 protected:
  void SetUp() override {
    const ByteView pin = as_bytes(kPin);
    service.token.add_container({.name = kContainers[0]}, pin);
    service.token.add_container({.name = kContainers[1], .kind = KeyKind::rsa, .rsa_bits = 1024}, pin);
    for (const char* name : kContainers) service.token.login(name, pin);
  }

  std::string code_of_call(const nlohmann::json& request) {
    RequestBody body(request.dump());
    return nlohmann::json::parse(answer_json(service, body).body)["ErrorCode"];
  }

  void sign(const char* container) {
    EXPECT_EQ(code_of_call({{"funcid", 15}, {"ContainerName", container}, {"InData", "aGVsbG8="}}), "0");
  }

  TemporaryStore store;
  Service service{store.file()};
};

TEST_F(Threads, SessionsAreUsedWhileOtherThreadsOpenAndCloseThem) {
  const auto client = [&](size_t number) {
    const char* container = kContainers[number % 2];
    for (int turn = 0; turn < kTurns; ++turn) {
      const std::string code =
          code_of_call({{"funcid", 15}, {"ContainerName", container}, {"InData", "aGVsbG8="}});
      EXPECT_TRUE(code == "0" || code == "B000438") << code;
      code_of_call({{"funcid", 45}, {"containerName", container}});
    }
  };
  const auto log_in_and_out = [&] {
    for (int turn = 0; turn < kTurns; ++turn) {
      EXPECT_EQ(code_of_call({{"funcid", 46}, {"containerName", kContainers[0]}}), "0");
      EXPECT_EQ(code_of_call({{"funcid", 7}, {"UserName", kContainers[0]}, {"PassWd", "MTIzNDU2Nzg="}}), "0");
    }
  };
  const auto end_idle_ones = [&] {
    for (int turn = 0; turn < kTurns; ++turn) {
      service.token.set_idle_limit(std::chrono::minutes(turn));
      service.token.close_idle_sessions();
    }
  };
  run_at_once(client, {log_in_and_out, end_idle_ones});
}

TEST_F(Threads, TheStoreIsReadAndWrittenConcurrently) {
  const int64_t id = service.token.container_id(kContainers[0]);
  const auto client = [&](size_t number) {
    const auto index = static_cast<uint32_t>(number);
    for (int turn = 0; turn < kTurns; ++turn) {
      const std::string data = std::to_string(number) + "-" + std::to_string(turn);
      write_user_file(service.token.store(), id, 1, index, 0, as_bytes(data));
      EXPECT_EQ(as_text(read_user_file(service.token.store(), id, 1, index, 0, 100)), data);
      sign(kContainers[number % 2]);
      EXPECT_EQ(code_of_call({{"funcid", 5}}), "0");
    }
  };
  const auto change_pins = [&] {
    for (const char* pin : {"another one", kPin})
      service.token.change_pin(kContainers[0], as_bytes(pin == kPin ? "another one" : kPin), as_bytes(pin));
  };
  const auto add_and_delete = [&] {
    for (int turn = 0; turn < 3; ++turn) {
      service.token.add_container({.name = "ADDED"}, as_bytes(kPin));
      service.token.delete_container("ADDED");
    }
  };
  run_at_once(client, {change_pins, add_and_delete});
}

TEST_F(Threads, ConcurrentWrongPinsAreAllCounted) {
  run_at_once(
      [&](size_t) {
        EXPECT_EQ(code_of_call({{"funcid", 7}, {"UserName", kContainers[0]}, {"PassWd", "d3Jvbmc="}}),
                  "B000426");
      },
      {});
  EXPECT_EQ(service.token.pin_retries(kContainers[0]), 10 - kClients);
}

TEST_F(Threads, OneOfSeveralConcurrentPinChangesSucceeds) {
  std::atomic<size_t> changed{kClients};
  run_at_once(
      [&](size_t number) {
        const ErrorCode code = code_of([&] {
          service.token.change_pin(kContainers[0], as_bytes(kPin), as_bytes("new-" + std::to_string(number)));
        });
        if (code == kSuccess) {
          EXPECT_EQ(changed.exchange(number), kClients) << "two PIN changes succeeded";
        } else {
          EXPECT_EQ(code, kWrongPin);
        }
      },
      {});
  ASSERT_LT(changed, kClients);
  service.token.login(kContainers[0], as_bytes("new-" + std::to_string(changed)));
}

TEST_F(Threads, TheTraceIsReadWhileCallsAreMade) {
  const auto read_trace = [&] {
    for (int turn = 0; turn < kTurns; ++turn) service.trace.text();
  };
  run_at_once(
      [&](size_t number) {
        for (int turn = 0; turn < kTurns; ++turn) sign(kContainers[number % 2]);
      },
      {read_trace, read_trace});
}

TEST_F(Threads, ConnectionsAreServedConcurrentlyUntilTheServerStops) {
  HttpServer server(service, {.port = 0});
  const uint16_t port = server.bind();
  const auto post = [port](std::string_view body) {
    return send_request({.host = "127.0.0.1",
                         .port = port,
                         .path = "/",
                         .content_type = "application/json",
                         .body = as_bytes(body)});
  };
  std::thread serving([&] { server.run(); });
  std::atomic<int> answered{0};
  const auto client = [&](size_t number) {
    const std::string body = nlohmann::json{
        {"funcid", 15},
        {"ContainerName", kContainers[number % 2]},
        {"InData", "aGVsbG8="}}.dump();
    for (int turn = 0; turn < kTurns; ++turn) {
      EXPECT_EQ(post(body).status, 200u);
      ++answered;
    }
  };
  const auto read_trace = [&] {
    EXPECT_EQ(send_request({.host = "127.0.0.1", .port = port, .path = "/trace"}).status, 200u);
  };
  run_at_once(client, {read_trace});
  EXPECT_EQ(answered, static_cast<int>(kClients) * kTurns);

  // Clients that are connected when the server stops may or may not receive an answer.
  std::vector<std::thread> late;
  for (size_t number = 0; number < kClients; ++number) {
    late.emplace_back([&] {
      try {
        post(R"({"funcid":0})");
      } catch (const std::runtime_error&) {
      }
    });
  }
  server.stop();
  serving.join();
  for (std::thread& thread : late) thread.join();
}

}  // namespace
}  // namespace velm::token

// Tries of PINs at the same time, a thousand rounds each. scrypt has its minimum cost.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "softtoken/store/token.h"
#include "softtoken/tests/store/temporary_store.h"

namespace velm::token {
namespace {

constexpr int kRounds = 1000;
constexpr uint32_t kPinRetries = 10;
const Bytes kPin(8, 'p');
const Bytes kOtherPin(8, 'q');

TEST(PinRace, SimultaneousCorrectPinsAllSucceed) {
  constexpr size_t kThreads = 16;
  const TemporaryStore store;
  Token token(store.file());
  token.add_container({.name = "A"}, kPin);
  std::atomic<int> failed = 0;
  std::vector<std::thread> threads;
  for (size_t thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, opens_session = thread % 4 == 0] {
      for (int round = 0; round < kRounds; ++round)
        failed += code_of([&] {
                    opens_session ? token.login("A", kPin) : void(token.check_pin("A", kPin));
                  }) != kSuccess;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failed, 0);
  EXPECT_EQ(token.pin_retries("A"), kPinRetries);
}

// Two tokens with one store are like two processes.
TEST(PinRace, AChangedPinIsNotAccepted) {
  const TemporaryStore store;
  Token token(store.file());
  Token other(store.file());
  token.add_container({.name = "A"}, kPin);
  for (int round = 0; round < kRounds; ++round) {
    const Bytes& old_pin = round % 2 == 0 ? kPin : kOtherPin;
    const Bytes& new_pin = round % 2 == 0 ? kOtherPin : kPin;
    std::atomic<bool> changed = false;
    bool late = false;
    ErrorCode code = kSuccess;
    std::thread login([&] {
      late = changed;
      code = code_of([&] { other.login("A", old_pin); });
    });
    token.change_pin("A", old_pin, new_pin);
    changed = true;
    login.join();
    ASSERT_TRUE(code == kWrongPin || (code == kSuccess && !late)) << round;
    const uint32_t retries = token.pin_retries("A");
    ASSERT_TRUE(retries == kPinRetries || (code == kWrongPin && retries == kPinRetries - 1)) << retries;
    token.login("A", new_pin);
    ASSERT_EQ(token.pin_retries("A"), kPinRetries);
  }
}

}  // namespace
}  // namespace velm::token

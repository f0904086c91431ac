// Ends the process inside scrypt, where an attacker would, and looks at the PIN retry counter that is left.
// Holds threads inside scrypt, where they would meet if correct PINs were not tried one after the other.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

#include "softtoken/store/token.h"
#include "softtoken/tests/store/temporary_store.h"

namespace {

constexpr int kEndedInScrypt = 7;
bool g_ends_in_scrypt = false;

/** Holds threads until as many have come as there are PIN tries, or for a moment. */
class Meeting {
 public:
  void wait() {
    std::unique_lock lock(mutex_);
    if (++came_ >= 10) all_.notify_all();
    all_.wait_for(lock, std::chrono::milliseconds(200), [&] { return came_ >= 10; });
    --came_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable all_;
  int came_ = 0;
};

Meeting* g_meeting = nullptr;

}  // namespace

extern "C" {

decltype(EVP_PBE_scrypt) __real_EVP_PBE_scrypt;

// The linker substitutes this for OpenSSL's function.
int __wrap_EVP_PBE_scrypt(const char* pass, size_t pass_size, const unsigned char* salt, size_t salt_size,
                          uint64_t, uint64_t, uint64_t, uint64_t memory, unsigned char* key,
                          size_t key_size) {
  if (g_ends_in_scrypt) _exit(kEndedInScrypt);
  if (g_meeting != nullptr) g_meeting->wait();
  return __real_EVP_PBE_scrypt(pass, pass_size, salt, salt_size, 2, 1, 1, memory, key, key_size);
}

}  // extern "C"

namespace velm::token {
namespace {

constexpr uint32_t kPinRetries = 10;
const Bytes kPin(8, 'p');
const Bytes kWrong(8, 'w');

using Call = std::function<void(Token&)>;

// Makes the call in a process of its own, which ends inside scrypt; returns its exit status.
int status_of(const std::filesystem::path& file, const Call& call) {
  const pid_t child = fork();
  if (child == 0) {
    Token token(file);
    g_ends_in_scrypt = true;
    try {
      call(token);
      _exit(0);
    } catch (const TokenError& error) {
      _exit(error.code() == kPinLocked ? 1 : 2);
    }
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status)) << status;
  return WEXITSTATUS(status);
}

TEST(PinTry, IsTakenBeforeThePinIsTried) {
  const std::pair<const char*, Call> calls[] = {
      {"login", [](Token& token) { token.login("A", kWrong); }},
      {"check_pin", [](Token& token) { token.check_pin("A", kWrong); }},
      {"change_pin", [](Token& token) { token.change_pin("A", kWrong, kPin); }},
      {"login with the PIN", [](Token& token) { token.login("A", kPin); }},
  };
  for (const auto& [name, call] : calls) {
    const TemporaryStore store;
    Token(store.file()).add_container({.name = "A"}, kPin);
    for (uint32_t left = kPinRetries; left > 0; --left) {
      ASSERT_EQ(Token(store.file()).pin_retries("A"), left) << name << ": an ended process returned a try";
      ASSERT_EQ(status_of(store.file(), call), kEndedInScrypt) << name;
    }
    EXPECT_EQ(Token(store.file()).pin_retries("A"), 0u) << name;
    EXPECT_EQ(status_of(store.file(), call), 1) << name << ": a locked PIN was tried";
    Token token(store.file());
    EXPECT_EQ(code_of([&] { token.login("A", kPin); }), kPinLocked) << name;
  }
}

// More threads than tries: if they met, the counter would be 0 although every PIN is correct.
TEST(PinTry, CorrectPinsAreTriedOneAfterTheOther) {
  const std::pair<const char*, Call> calls[] = {
      {"login", [](Token& token) { token.login("A", kPin); }},
      {"check_pin", [](Token& token) { token.check_pin("A", kPin); }},
      {"change_pin", [](Token& token) { token.change_pin("A", kPin, kPin); }},
  };
  const TemporaryStore store;
  Token token(store.file());
  token.add_container({.name = "A"}, kPin);
  Meeting meeting;
  g_meeting = &meeting;
  for (const auto& [name, call] : calls) {
    std::atomic<int> failed = 0;
    std::vector<std::thread> threads;
    for (uint32_t thread = 0; thread < kPinRetries + 2; ++thread)
      threads.emplace_back([&, &call = call] { failed += code_of([&] { call(token); }) != kSuccess; });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failed, 0) << name;
    EXPECT_EQ(token.pin_retries("A"), kPinRetries) << name;
  }
  g_meeting = nullptr;
}

}  // namespace
}  // namespace velm::token

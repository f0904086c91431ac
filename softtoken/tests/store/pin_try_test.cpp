// Ends the process inside scrypt, where an attacker would, and looks at the PIN retry counter that is left.
// Holds threads inside scrypt, where they would meet if correct PINs were not tried one after the other.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <semaphore>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

#include "softtoken/store/token.h"
#include "softtoken/tests/store/temporary_store.h"

namespace {

constexpr int kEndedInScrypt = 7;
bool g_ends_in_scrypt = false;

/** Holds the first thread that comes, and says that it has come. */
struct Hold {
  std::atomic<bool> taken = false;
  std::binary_semaphore came{0};

  void wait() {
    if (taken.exchange(true)) return;
    came.release();
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }
};

Hold* g_hold = nullptr;

}  // namespace

extern "C" {

decltype(EVP_PBE_scrypt) __real_EVP_PBE_scrypt;

// The linker substitutes this for OpenSSL's function.
int __wrap_EVP_PBE_scrypt(const char* pass, size_t pass_size, const unsigned char* salt, size_t salt_size,
                          uint64_t, uint64_t, uint64_t, uint64_t memory, unsigned char* key,
                          size_t key_size) {
  if (g_ends_in_scrypt) _exit(kEndedInScrypt);
  if (g_hold != nullptr) g_hold->wait();
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

// With one try left, a second thread in scrypt would find the PIN locked although both PINs are correct.
TEST(PinTry, CorrectPinsAreTriedOneAfterTheOther) {
  const std::pair<const char*, Call> calls[] = {
      {"login", [](Token& token) { token.login("A", kPin); }},
      {"check_pin", [](Token& token) { token.check_pin("A", kPin); }},
      {"change_pin", [](Token& token) { token.change_pin("A", kPin, kPin); }},
  };
  for (const auto& [name, call] : calls) {
    const TemporaryStore store;
    Token token(store.file());
    token.add_container({.name = "A"}, kPin);
    while (token.pin_retries("A") > 1) code_of([&] { token.check_pin("A", kWrong); });
    Hold hold;
    g_hold = &hold;
    const auto in_a_thread = [&, &call = call] {
      return std::async(std::launch::async, [&] { return code_of([&] { call(token); }); });
    };
    auto first = in_a_thread();
    EXPECT_TRUE(hold.came.try_acquire_for(std::chrono::seconds(30))) << name << " tries no PIN";
    auto second = in_a_thread();
    EXPECT_EQ(second.get(), kSuccess) << name << " did not wait for the PIN that is being tried";
    EXPECT_EQ(first.get(), kSuccess) << name;
    g_hold = nullptr;
    EXPECT_EQ(token.pin_retries("A"), kPinRetries) << name;
  }
}

}  // namespace
}  // namespace velm::token

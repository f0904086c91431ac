// Lets allocations of the store fail, from the first, second, ... on. A call throws or does without; nothing
// ends the process, and afterwards the store works.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <new>

#include "softtoken/store/token.h"
#include "softtoken/tests/store/temporary_store.h"

namespace {

// Allocations that still succeed.
std::atomic<int64_t> allocations_left{INT64_MAX};
std::atomic<bool> refused{false};

void* allocate(size_t size) {
  if (allocations_left.fetch_sub(1) <= 0) {
    refused = true;
    throw std::bad_alloc();
  }
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }

namespace velm::token {
namespace {

const Bytes kPin(8, 'p');

// Returns whether an allocation of the call was refused. The call may throw or do without it.
bool refuses_after(int64_t allocations, const std::function<void()>& call) {
  refused = false;
  allocations_left = allocations;
  try {
    call();
  } catch (const std::exception&) {
    EXPECT_TRUE(refused);
  }
  allocations_left = INT64_MAX;
  return refused;
}

TEST(MemoryExhausted, FailsTheCallAndNothingElse) {
  const TemporaryStore store;
  Token token(store.file());
  token.add_container({.name = "A"}, kPin);
  token.login("A", kPin);
  const std::function<void()> calls[] = {
      [&] { token.container("A"); },       [&] { token.pin_retries("A"); },
      [&] { token.require_login("A"); },   [&] { token.session("A"); },
      [&] { token.store().containers(); }, [&] { token.close_idle_sessions(); },
      [&] { token.login("A", kPin); },
  };
  for (const auto& call : calls) {
    int64_t allocations = 0;
    while (refuses_after(allocations, call)) ++allocations;
    EXPECT_GT(allocations, 0) << "the call allocates nothing";
    EXPECT_EQ(token.pin_retries("A"), 10u);
    token.require_login("A");
  }
}

}  // namespace
}  // namespace velm::token

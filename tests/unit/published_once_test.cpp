#include "basekit/basic/published_once.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "tests/support/latch.h"

using namespace velm;

namespace {

// Returns an initialiser that sets this number.
auto gives(int number) {
  return [number](int& value) {
    value = number;
    return true;
  };
}

bool never_called(int&) {
  ADD_FAILURE() << "initialised again after publication";
  return false;
}

TEST(PublishedOnce, TheFirstValueStays) {
  PublishedOnce<int> once;
  EXPECT_EQ(once.get(gives(1)), 1);
  EXPECT_EQ(once.get(never_called), 1);
}

TEST(PublishedOnce, FailedInitialisationIsNotPublished) {
  PublishedOnce<int> once;
  EXPECT_EQ(once.get([](int&) { return false; }), 0);
  EXPECT_EQ(once.get(gives(2)), 2);
  EXPECT_EQ(once.get(never_called), 2);
}

TEST(PublishedOnce, IsConstantInitialised) {
  static constinit PublishedOnce<int> once;
  EXPECT_EQ(once.get(gives(1)), 1);
}

// Another thread publishes first; the slower thread keeps its own result.
TEST(PublishedOnce, SlowerThreadKeepsItsOwnValue) {
  PublishedOnce<int> once;
  const int own = once.get([&](int& value) {
    std::thread([&] { EXPECT_EQ(once.get(gives(1)), 1); }).join();
    value = 2;
    return true;
  });
  EXPECT_EQ(own, 2);
  EXPECT_EQ(once.get(never_called), 1);
}

// A value that runs a hook while it is copied into place.
struct Interrupted {
  int number = 0;
  std::function<void()> while_published;

  Interrupted() = default;
  Interrupted(const Interrupted& other) : number(other.number) {}
  Interrupted& operator=(const Interrupted& other) {
    other.while_published();
    number = other.number;
    return *this;
  }
};

TEST(PublishedOnce, ValueBeingPublishedIsNotAccessed) {
  PublishedOnce<Interrupted> once;
  const auto gives_first = [&](Interrupted& value) {
    value.number = 1;
    value.while_published = [&] {
      std::thread([&] {
        const Interrupted second = once.get([](Interrupted& other) {
          other.number = 2;
          other.while_published = [] { ADD_FAILURE() << "published twice"; };
          return true;
        });
        EXPECT_EQ(second.number, 2);
      }).join();
    };
    return true;
  };
  EXPECT_EQ(once.get(gives_first).number, 1);
  EXPECT_EQ(once.get([](Interrupted&) { return false; }).number, 1);
}

TEST(PublishedOnce, ConcurrentThreadsSeeCompleteValues) {
  constexpr int kThreads = 8, kRounds = 100;
  using Text = std::array<char, 1024>;
  for (int round = 0; round < kRounds; ++round) {
    PublishedOnce<Text> once;
    velm::test::Latch start(kThreads);
    std::vector<std::thread> threads;
    for (char letter = 'a'; letter < 'a' + kThreads; ++letter) {
      threads.emplace_back([&, letter] {
        start.arrive_and_wait();
        for (int call = 0; call < 4; ++call) {
          const Text text = once.get([&](Text& value) {
            value.fill(letter);
            return true;
          });
          Text whole;
          whole.fill(text[0]);
          EXPECT_EQ(text, whole);
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
  }
}

}  // namespace

// Built with ThreadSanitizer too.
#include "softtoken/service/byte_budget.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <thread>
#include <vector>

namespace velm::token {
namespace {

constexpr size_t kMiB = 1024 * 1024;

class ByteBudgetTest : public testing::Test {
 protected:
  ByteBudget budget{4 * kMiB};
};

TEST_F(ByteBudgetTest, GrantsWhatFitsAndTakesItBack) {
  {
    ByteBudget::Claim claim(budget);
    EXPECT_TRUE(claim.ask(3 * kMiB));
    EXPECT_TRUE(claim.granted());
    EXPECT_EQ(budget.used(), 3 * kMiB);
    EXPECT_TRUE(claim.resize(kMiB));
    EXPECT_EQ(budget.used(), kMiB);
  }
  EXPECT_EQ(budget.used(), 0u);
  EXPECT_EQ(budget.peak(), 3 * kMiB);
}

TEST_F(ByteBudgetTest, ALargeClaimWaitsForItsTurnAndIsNotOvertaken) {
  std::optional<ByteBudget::Claim> first(budget);
  ByteBudget::Claim large(budget);
  ByteBudget::Claim later(budget);
  EXPECT_TRUE(first->ask(2 * kMiB));
  EXPECT_FALSE(large.ask(3 * kMiB));
  EXPECT_FALSE(later.ask(kMiB)) << "fits, but the large claim came first";
  EXPECT_FALSE(large.granted());
  first.reset();
  EXPECT_TRUE(large.granted());
  EXPECT_TRUE(later.granted());
  EXPECT_EQ(budget.used(), 4 * kMiB);
}

TEST_F(ByteBudgetTest, AClaimThatLeavesTheQueueLetsTheNextOnePass) {
  ByteBudget::Claim first(budget);
  std::optional<ByteBudget::Claim> large(budget);
  ByteBudget::Claim later(budget);
  EXPECT_TRUE(first.ask(2 * kMiB));
  EXPECT_FALSE(large->ask(3 * kMiB));
  EXPECT_FALSE(later.ask(kMiB));
  large.reset();
  EXPECT_TRUE(later.granted());
  EXPECT_EQ(budget.used(), 3 * kMiB);
}

TEST_F(ByteBudgetTest, SmallClaimsDoNotWaitForLargeOnes) {
  ByteBudget::Claim all(budget);
  ByteBudget::Claim waiting(budget);
  ByteBudget::Claim small(budget);
  EXPECT_TRUE(all.ask(4 * kMiB));
  EXPECT_FALSE(waiting.ask(kMiB));
  EXPECT_TRUE(small.ask(ByteBudget::kSmallShare));
}

TEST_F(ByteBudgetTest, TheReserveOfSmallClaimsIsLimitedToo) {
  std::list<ByteBudget::Claim> claims;
  for (size_t used = 0; used + ByteBudget::kSmallShare <= ByteBudget::kReserve;
       used += ByteBudget::kSmallShare)
    EXPECT_TRUE(claims.emplace_back(budget).ask(ByteBudget::kSmallShare));
  ByteBudget::Claim next(budget);
  EXPECT_FALSE(next.ask(ByteBudget::kSmallShare));
  claims.pop_front();
  EXPECT_TRUE(next.granted());
  EXPECT_LE(budget.peak(), ByteBudget::kReserve);
}

TEST_F(ByteBudgetTest, AFreeShareIsGrantedAlthoughTheReserveIsOccupied) {
  std::list<ByteBudget::Claim> claims;
  while (claims.emplace_back(budget).ask(ByteBudget::kSmallShare)) {
  }
  const size_t used = budget.used();
  ByteBudget::Claim free_claim(budget);
  EXPECT_TRUE(free_claim.ask(ByteBudget::kFreeShare));
  EXPECT_TRUE(free_claim.resize(ByteBudget::kFreeShare / 2));
  EXPECT_TRUE(free_claim.resize(ByteBudget::kFreeShare));
  EXPECT_EQ(budget.used(), used);
  EXPECT_FALSE(free_claim.resize(ByteBudget::kFreeShare + 1));
  ByteBudget::Claim counted(budget);
  EXPECT_FALSE(counted.ask(ByteBudget::kFreeShare + 1));
}

TEST_F(ByteBudgetTest, AClaimAboveTheBudgetGetsAllOfIt) {
  ByteBudget::Claim small(budget);
  ByteBudget::Claim claim(budget);
  EXPECT_TRUE(small.ask(ByteBudget::kSmallShare));
  EXPECT_TRUE(claim.ask(SIZE_MAX));
  EXPECT_EQ(budget.used(), 4 * kMiB + ByteBudget::kSmallShare);
}

TEST_F(ByteBudgetTest, AClaimGrowsWithoutCountingItsShareTwice) {
  ByteBudget::Claim claim(budget);
  EXPECT_TRUE(claim.ask(1000)) << "free";
  EXPECT_TRUE(claim.ask(ByteBudget::kSmallShare)) << "from the reserve";
  EXPECT_EQ(budget.used(), ByteBudget::kSmallShare);
  EXPECT_TRUE(claim.ask(3 * kMiB)) << "from the reserve to the budget";
  EXPECT_EQ(budget.used(), 3 * kMiB);
  EXPECT_TRUE(claim.ask(4 * kMiB));
  EXPECT_EQ(budget.used(), 4 * kMiB);
}

TEST_F(ByteBudgetTest, AShareShrinksAlwaysButGrowsOnlyWhenNoClaimWaits) {
  ByteBudget::Claim first(budget);
  ByteBudget::Claim second(budget);
  ByteBudget::Claim waiting(budget);
  EXPECT_TRUE(first.ask(2 * kMiB));
  EXPECT_TRUE(second.ask(2 * kMiB));
  EXPECT_FALSE(waiting.ask(4 * kMiB));
  EXPECT_TRUE(first.resize(0));
  EXPECT_FALSE(first.resize(kMiB));
  EXPECT_EQ(budget.used(), 2 * kMiB);
  EXPECT_TRUE(second.resize(0));
  EXPECT_TRUE(waiting.granted());
}

TEST_F(ByteBudgetTest, HoldsItsLimitWithManyThreads) {
  constexpr size_t kThreads = 6;
  constexpr int kTurns = 300;
  std::vector<std::thread> threads;
  for (size_t number = 0; number < kThreads; ++number) {
    threads.emplace_back([&, number] {
      std::minstd_rand dice(static_cast<unsigned>(number) + 1);
      for (int turn = 0; turn < kTurns; ++turn) {
        ByteBudget::Claim claim(budget);
        const size_t bytes = dice() % (4 * kMiB);
        if (!claim.ask(bytes)) {
          while (turn % 3 != 0 && !claim.granted()) std::this_thread::yield();
        }
        if (claim.granted()) claim.resize(bytes / 2);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(budget.used(), 0u);
  EXPECT_LE(budget.peak(), 4 * kMiB + ByteBudget::kReserve);
}

}  // namespace
}  // namespace velm::token

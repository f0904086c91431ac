#include "softtoken/service/growing_thread_pool.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <latch>

namespace velm::token {
namespace {

// Makes every thread creation fail: the default stack size exceeds the address space.
class NoMoreThreads {
 public:
  NoMoreThreads() {
    pthread_getattr_default_np(&usual_);
    pthread_attr_t huge = usual_;
    pthread_attr_setstacksize(&huge, size_t{1} << 47);
    pthread_setattr_default_np(&huge);
  }
  NoMoreThreads(const NoMoreThreads&) = delete;
  ~NoMoreThreads() {
    pthread_setattr_default_np(&usual_);
    pthread_attr_destroy(&usual_);
  }

 private:
  pthread_attr_t usual_;
};

TEST(GrowingThreadPool, AddsAThreadForEachJobUpToItsLimit) {
  std::latch all_there(3);
  std::atomic<int> done = 0;
  {
    GrowingThreadPool pool(2);
    const auto job = [&] {
      all_there.arrive_and_wait();
      ++done;
    };
    EXPECT_TRUE(pool.enqueue(job));
    EXPECT_TRUE(pool.enqueue(job));
    EXPECT_FALSE(pool.enqueue(job));
    all_there.arrive_and_wait();
  }
  EXPECT_EQ(done, 2);
}

TEST(GrowingThreadPool, RejectsJobsOnlyWhileNoThreadCanBeCreated) {
  std::atomic<int> done = 0;
  {
    GrowingThreadPool pool(2);
    {
      const NoMoreThreads meanwhile;
      EXPECT_FALSE(pool.enqueue([&] { ++done; }));
    }
    EXPECT_TRUE(pool.enqueue([&] { ++done; }));
  }
  EXPECT_EQ(done, 1);
}

}  // namespace
}  // namespace velm::token

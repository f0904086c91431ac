#pragma once

#include <cstddef>

namespace velm::token {

/**
 * Lets one allocation of the process fail: with operator new, or with aligned_alloc(), which Asio uses for
 * coroutines and pending operations. Programs must be linked with --wrap=aligned_alloc. One object at a time.
 */
class RefusedAllocation {
 public:
  /** @param number How many allocations, counted over all threads, succeed before the one that fails. */
  explicit RefusedAllocation(size_t number);
  RefusedAllocation(const RefusedAllocation&) = delete;
  ~RefusedAllocation();

  /** Whether there were so many allocations that one has failed. */
  bool happened() const;

  /** From now on, allocations of the calling thread succeed and are not counted. */
  static void spare_this_thread();
};

}  // namespace velm::token

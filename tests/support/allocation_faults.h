// Counts the allocations of a module through the C runtime (operator new included) and makes one allocation
// fail, or one and all later ones.
//
//   AllocationFaults memory(library.module());
//   library.SOF_Initialize();
//   EXPECT_EQ(memory.outstanding(), 0u);               // the call freed what it allocated
//   memory.fail_at(2);                                 // the second allocation from now returns null, once
//   EXPECT_EQ(library.SOF_Initialize(), SOR_MEMORYERR);
//
// Only one object may exist at a time, and it must be destroyed before the module is unloaded. Threads may
// allocate concurrently.
#pragma once

#include <windows.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace velm::test {

class AllocationFaults {
 public:
  explicit AllocationFaults(HMODULE module);
  ~AllocationFaults();
  AllocationFaults(const AllocationFaults&) = delete;
  AllocationFaults& operator=(const AllocationFaults&) = delete;

  // Resets all counters and cancels a pending failure. Blocks allocated before are no longer counted.
  void restart();

  // Makes the nth allocation from now fail, counted from 1; 0 cancels.
  void fail_at(size_t nth) { fail(nth, false); }
  // Makes the nth allocation from now and all later ones fail.
  void fail_from(size_t nth) { fail(nth, true); }
  bool has_failed() const;  // since the last fail_at() or fail_from()

  std::vector<size_t> sizes() const;  // of every allocation since the last restart, in order
  size_t allocations() const { return sizes().size(); }
  size_t outstanding() const;  // blocks allocated since the last restart and not freed
  size_t outstanding_bytes() const;
  size_t peak_bytes() const;

  struct Watch;  // state shared by the replaced C runtime functions

 private:
  void fail(size_t nth, bool fails_on);

  std::unique_ptr<Watch> watch_;
};

}  // namespace velm::test

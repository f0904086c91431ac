// Watches what a module allocates with the C runtime, operator new included, and makes one allocation fail,
// or all from one on.
//
//   AllocationFaults memory(library.module());
//   library.SOF_Initialize();
//   EXPECT_EQ(memory.outstanding(), 0u);               // what the call allocated, it freed
//   memory.fail_at(2);                                 // the second allocation from now returns null, once
//   EXPECT_EQ(library.SOF_Initialize(), SOR_MEMORYERR);
//
// One at a time; it must end before the module is unloaded. Threads may allocate at once.
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

  // Starts counting anew: blocks that are outstanding are no longer counted, and no allocation will fail.
  void restart();

  // The nth allocation from now, counted from 1, fails; 0: none does.
  void fail_at(size_t nth) { fail(nth, false); }
  // That one fails, and each after it.
  void fail_from(size_t nth) { fail(nth, true); }
  bool has_failed() const;  // since then

  std::vector<size_t> sizes() const;  // of every allocation since the last restart, in order
  size_t allocations() const { return sizes().size(); }
  size_t outstanding() const;  // blocks allocated since the last restart and not freed
  size_t outstanding_bytes() const;
  size_t peak_bytes() const;

  struct Watch;  // what the replacements of the C runtime's functions share

 private:
  void fail(size_t nth, bool fails_on);

  std::unique_ptr<Watch> watch_;
};

}  // namespace velm::test

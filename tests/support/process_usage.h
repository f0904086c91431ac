// What this process holds: a leak shows as growth between two moments at which it holds nothing on purpose.
//
//   const ProcessUsage before = ProcessUsage::now();
//   ... many calls ...
//   EXPECT_EQ(ProcessUsage::now().growth_since(before, {.blocks = 50, .private_bytes = 256 << 10}), "");
#pragma once

#include <cstddef>
#include <string>

namespace velm::test {

struct ProcessUsage {
  size_t handles;        // of the system's objects
  size_t blocks;         // allocated on the process's heaps, the C runtime's among them
  size_t block_bytes;    // in those blocks
  size_t private_bytes;  // of memory that belongs to this process alone

  static ProcessUsage now();

  // How much more than `before` is unremarkable.
  struct Allowance {
    size_t handles = 0;
    size_t blocks = 0;
    size_t private_bytes = 0;
  };

  // What has grown by more than is allowed, in words; empty: nothing.
  std::string growth_since(const ProcessUsage& before, const Allowance& allowed) const;

  std::string text() const;
};

}  // namespace velm::test

// Resource usage of this process. A leak shows as growth between two points at which nothing is in use.
//
//   const ProcessUsage before = ProcessUsage::now();
//   ... many calls ...
//   EXPECT_EQ(ProcessUsage::now().growth_since(before, {.blocks = 50, .private_bytes = 256 << 10}), "");
#pragma once

#include <cstddef>
#include <string>

namespace velm::test {

struct ProcessUsage {
  size_t handles;        // open system handles
  size_t blocks;         // allocated on all heaps of the process, including the C runtime's
  size_t block_bytes;    // total size of those blocks
  size_t private_bytes;  // private memory of the process

  static ProcessUsage now();

  // Tolerated growth.
  struct Allowance {
    size_t handles = 0;
    size_t blocks = 0;
    size_t private_bytes = 0;
  };

  // Describes what has grown by more than allowed; empty if nothing has.
  std::string growth_since(const ProcessUsage& before, const Allowance& allowed) const;

  std::string text() const;
};

}  // namespace velm::test

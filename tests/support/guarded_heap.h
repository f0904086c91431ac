// Gives every block that a module allocates through the C runtime (operator new included) pages of its own,
// so that an access beyond its end or after its release faults, as with GuardedBuffer. Blocks have the
// alignment of malloc(): up to 15 bytes before the inaccessible page do not belong to the block. A write to
// them, or before the block, fails the test when the block is freed. They contain no zero byte, so a search
// for a missing terminator reaches the page.
//
// The module keeps the guarded heap until it is unloaded. ClientLibrary guards the library under test.
#pragma once

#include <windows.h>

#include <cstddef>

namespace velm::test {

void guard_heap_of(HMODULE module);

// Fails the test if the module, which was unloaded, has left guarded blocks.
void expect_no_guarded_blocks();

}  // namespace velm::test

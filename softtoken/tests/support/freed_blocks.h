#pragma once

#include <cstddef>
#include <span>

namespace velm::token {

/**
 * Looks for texts in every block of memory that the process frees, its libraries included, during the
 * lifetime of the object. Needs a sanitizer, whose interface reports the blocks. The texts must not be on the
 * heap.
 */
class FreedBlocks {
 public:
  explicit FreedBlocks(std::span<const char* const> texts);
  FreedBlocks(const FreedBlocks&) = delete;
  ~FreedBlocks();

  /** How many freed blocks contained the text of this number. */
  size_t containing(size_t text) const;
};

}  // namespace velm::token

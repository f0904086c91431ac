#pragma once

#include <algorithm>

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** Returns at most `length` bytes from `offset` on, none beyond the end. */
inline Bytes part_of(ByteView content, size_t offset, size_t length) {
  const ByteView rest = content.subspan(std::min(offset, content.size()));
  return copy_of(rest.first(std::min(length, rest.size())));
}

}  // namespace velm::token

// Bytes that somebody else owns, with their length as the provider modules take it.
#pragma once

#include <cstdint>

namespace velm {

struct ByteView {
  const uint8_t* data = nullptr;
  uint32_t length = 0;
};

}  // namespace velm

// Non-owning byte view. The length has 32 bits, as the provider modules require.
#pragma once

#include <cstdint>

namespace velm {

struct ByteView {
  const uint8_t* data = nullptr;
  uint32_t length = 0;
};

}  // namespace velm

// How the crypto module numbers the ciphers and modes of an algorithm identifier (GM/T 0006): bits 8 to 19
// name the cipher, the low byte names the mode. What it does not know has number 0.
#pragma once

#include <cstdint>

namespace velm {

constexpr uint32_t cipher_number(uint32_t algorithm) {
  switch (algorithm & 0xFFF00) {
    case 0x00400: return 108;  // SM4
    case 0x02000: return 101;
    case 0x04000:
    case 0x08000:
    case 0x10000: return 107;
    default: return 0;
  }
}

constexpr uint32_t mode_number(uint32_t algorithm) {
  switch (algorithm & 0xFF) {
    case 1: return 1;  // ECB
    case 2: return 2;  // CBC
    case 4: return 3;  // CFB
    case 8: return 4;  // OFB
    default: return 0;
  }
}

}  // namespace velm

#include "softtoken/crypto/random.h"

#include <openssl/rand.h>

#include "softtoken/crypto/token_error.h"

namespace velm::token {

void fill_random(std::span<uint8_t> bytes) {
  require(RAND_bytes_ex(nullptr, bytes.data(), bytes.size(), 0) == 1, kRandomFailed);
}

Bytes random_bytes(size_t count) {
  Bytes bytes(count);
  fill_random(bytes);
  return bytes;
}

}  // namespace velm::token

#include "softtoken/crypto/system_random.h"

#include "softtoken/crypto/token_error.h"

#ifdef _WIN32
#include <windows.h>
#include <bcrypt.h>
#else
#include <sys/random.h>
#endif

#include <algorithm>

namespace velm::token {
namespace {

// getrandom(2): requests of up to 256 bytes are not interrupted by signals and return all bytes.
constexpr size_t kChunk = 256;

bool fill(uint8_t* target, size_t count) {
#ifdef _WIN32
  return BCryptGenRandom(nullptr, target, static_cast<ULONG>(count), BCRYPT_USE_SYSTEM_PREFERRED_RNG) >= 0;
#else
  return getrandom(target, count, 0) == static_cast<ssize_t>(count);
#endif
}

}  // namespace

Bytes system_random(size_t count) {
  Bytes bytes(count);
  for (size_t done = 0; done < count;) {
    const size_t chunk = std::min(kChunk, count - done);
    if (!fill(bytes.data() + done, chunk)) throw TokenError(kRandomFailed);
    done += chunk;
  }
  return bytes;
}

}  // namespace velm::token

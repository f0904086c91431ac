#include "softtoken/crypto/token_error.h"

#include <openssl/err.h>

namespace velm::token {

void require(bool condition, ErrorCode code) {
  if (condition) return;
  ERR_clear_error();
  throw TokenError(code);
}

}  // namespace velm::token

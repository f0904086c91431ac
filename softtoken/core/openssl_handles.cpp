#include "softtoken/core/openssl_handles.h"

#include <openssl/err.h>

namespace velm::token {

void require(bool holds, ErrorCode code) {
  if (holds) return;
  ERR_clear_error();
  throw TokenError(code);
}

}  // namespace velm::token

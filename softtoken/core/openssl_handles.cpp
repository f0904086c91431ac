#include "softtoken/core/openssl_handles.h"

#include <openssl/err.h>

namespace velm::token {

void require(bool holds, ErrorCode code) {
  if (holds) return;
  ERR_clear_error();
  throw TokenError(code);
}

ByteView view_of(const ASN1_STRING* string) {
  return {ASN1_STRING_get0_data(string), static_cast<size_t>(ASN1_STRING_length(string))};
}

void set_bytes(ASN1_STRING* string, ByteView bytes) {
  require(ASN1_STRING_set(string, bytes.data(), static_cast<int>(bytes.size())) == 1, kUnknownError);
}

}  // namespace velm::token

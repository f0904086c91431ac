#include "softtoken/crypto/openssl_handles.h"

#include <limits>
#include <utility>

namespace velm::token {

ByteView view_of(const ASN1_STRING* string) {
  return {ASN1_STRING_get0_data(string), static_cast<size_t>(ASN1_STRING_length(string))};
}

void set_bytes(ASN1_STRING* string, ByteView bytes) {
  // ASN1_STRING_set() appends a zero byte, and calls strlen() if the length is negative.
  require(std::cmp_less(bytes.size(), std::numeric_limits<int>::max()), kBadLength);
  require(ASN1_STRING_set(string, bytes.data(), static_cast<int>(bytes.size())) == 1, kUnknownError);
}

}  // namespace velm::token

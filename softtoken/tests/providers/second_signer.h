#pragma once

#include "softtoken/crypto/content_info.h"

namespace velm::token {

using SignerInfo = Handle<PKCS7_SIGNER_INFO, PKCS7_SIGNER_INFO_free>;

/** Adds to a signed message of this content type a second signer, whose signature does not verify. */
inline Bytes with_forged_second_signer(ByteView message, const char* signed_data_type) {
  const Bytes inner = unwrap_content(message, signed_data_type, signed_data_type);
  const auto parsed = from_der<Pkcs7Signed>(d2i_PKCS7_SIGNED, inner, kPkcs7Format);
  const PKCS7_SIGNER_INFO* first = sk_PKCS7_SIGNER_INFO_value(parsed->signer_info, 0);
  const Bytes der = der_of<const PKCS7_SIGNER_INFO>(i2d_PKCS7_SIGNER_INFO, first);
  auto second = from_der<SignerInfo>(d2i_PKCS7_SIGNER_INFO, der, kPkcs7Format);
  Bytes signature = copy_of(view_of(second->enc_digest));
  signature.back() ^= 1;
  set_bytes(second->enc_digest, signature);
  require(sk_PKCS7_SIGNER_INFO_push(parsed->signer_info, second.get()) > 0, kUnknownError);
  second.release();
  return wrap_content<const PKCS7_SIGNED>(signed_data_type, i2d_PKCS7_SIGNED, parsed.get());
}

}  // namespace velm::token

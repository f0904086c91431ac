#include "softtoken/providers/saf/message_identifiers.h"

#include "softtoken/crypto/content_info.h"

namespace velm::token {

Bytes replace_message_identifiers(IdentifierFamily family, ByteView message) {
  const MessageTypes& wanted = family == IdentifierFamily::international ? kPkcs7Types : kGmTypes;
  const Bytes inner = unwrap_content(message, kPkcs7Types.signed_data, kGmTypes.signed_data);
  const auto parsed = from_der<Pkcs7Signed>(d2i_PKCS7_SIGNED, inner, kPkcs7Format);
  PKCS7* contents = parsed->contents;
  const bool was_pkcs7 = OBJ_obj2nid(contents->type) == NID_pkcs7_data;
  require(was_pkcs7 || is_object(contents->type, kGmTypes.data), kPkcs7Format);

  Object type = object_of(wanted.data);

  // OpenSSL stores id-data of PKCS#7 in a member of its own, and any other content type in a generic one.
  const bool to_pkcs7 = family == IdentifierFamily::international;
  if (was_pkcs7 && !to_pkcs7 && contents->d.data != nullptr) {
    ASN1_TYPE* general = require_pointer(ASN1_TYPE_new(), kUnknownError);
    ASN1_TYPE_set(general, V_ASN1_OCTET_STRING, contents->d.data);
    contents->d.other = general;
  }
  if (!was_pkcs7 && to_pkcs7 && contents->d.other != nullptr) {
    ASN1_TYPE* general = contents->d.other;
    require(ASN1_TYPE_get(general) == V_ASN1_OCTET_STRING, kPkcs7Format);
    contents->d.data = general->value.octet_string;
    general->value.octet_string = nullptr;
    general->type = V_ASN1_NULL;
    ASN1_TYPE_free(general);
  }
  ASN1_OBJECT_free(contents->type);
  contents->type = type.release();
  return wrap_content<const PKCS7_SIGNED>(wanted.signed_data, i2d_PKCS7_SIGNED, parsed.get());
}

}  // namespace velm::token

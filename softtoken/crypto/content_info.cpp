#include "softtoken/crypto/content_info.h"

#include <openssl/asn1t.h>

#include "softtoken/crypto/der_element.h"

namespace velm::token {
namespace {

// Keeps the content as DER: the PKCS7 type of OpenSSL does not support the content types of GM/T 0010.
struct ContentInfo {
  ASN1_OBJECT* type;
  ASN1_TYPE* content;
};

ASN1_SEQUENCE(ContentInfo) =
    {
        ASN1_SIMPLE(ContentInfo, type, ASN1_OBJECT),
        ASN1_EXP(ContentInfo, content, ASN1_ANY, 0),
} static_ASN1_SEQUENCE_END(ContentInfo)

        struct ContentInfoFreer {
  void operator()(ContentInfo* info) const {
    ASN1_item_free(reinterpret_cast<ASN1_VALUE*>(info), ASN1_ITEM_rptr(ContentInfo));
  }
};
using ContentInfoHandle = std::unique_ptr<ContentInfo, ContentInfoFreer>;

}  // namespace

Object object_of(const char* oid) { return Object(require_pointer(OBJ_txt2obj(oid, 1), kUnknownError)); }

Bytes object_der(const char* oid) { return der_of<const ASN1_OBJECT>(i2d_ASN1_OBJECT, object_of(oid).get()); }

bool is_object(const ASN1_OBJECT* object, const char* oid) {
  return OBJ_cmp(object, object_of(oid).get()) == 0;
}

void set_algorithm(X509_ALGOR* target, Object algorithm, ErrorCode code) {
  require(algorithm && X509_ALGOR_set0(target, algorithm.get(), V_ASN1_NULL, nullptr) == 1, code);
  algorithm.release();
}

Bytes content_info_head(const char* type, size_t content_size) {
  const Bytes oid = object_der(type);
  const Bytes explicit_tag = der_header({kDerContext0Constructed, content_size});
  Bytes head = der_header({kDerSequence, oid.size() + explicit_tag.size() + content_size});
  head.insert(head.end(), oid.begin(), oid.end());
  head.insert(head.end(), explicit_tag.begin(), explicit_tag.end());
  return head;
}

Bytes unwrap_content(ByteView message, const char* pkcs7_type, const char* gm_type) {
  const auto info = from_der<ContentInfoHandle>(
      [](ContentInfo**, const uint8_t** at, long size) {
        return reinterpret_cast<ContentInfo*>(ASN1_item_d2i(nullptr, at, size, ASN1_ITEM_rptr(ContentInfo)));
      },
      message, kPkcs7Format);
  const bool known = is_object(info->type, pkcs7_type) || is_object(info->type, gm_type);
  require(known && ASN1_TYPE_get(info->content) == V_ASN1_SEQUENCE, kPkcs7Format);
  return copy_of(view_of(info->content->value.sequence));
}

bool set_issuer_and_serial(PKCS7_ISSUER_AND_SERIAL* target, const X509* certificate) {
  ASN1_INTEGER_free(target->serial);
  target->serial = ASN1_INTEGER_dup(X509_get0_serialNumber(certificate));
  return target->serial != nullptr && X509_NAME_set(&target->issuer, X509_get_issuer_name(certificate)) == 1;
}

bool names_certificate(const PKCS7_ISSUER_AND_SERIAL* name, const X509* certificate) {
  return X509_NAME_cmp(name->issuer, X509_get_issuer_name(certificate)) == 0 &&
         ASN1_INTEGER_cmp(name->serial, X509_get0_serialNumber(certificate)) == 0;
}

}  // namespace velm::token

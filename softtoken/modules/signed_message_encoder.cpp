#include "softtoken/modules/signed_message_encoder.h"

#include <ctime>

#include "softtoken/core/certificate.h"
#include "softtoken/core/content_info.h"
#include "softtoken/modules/content_hash.h"

namespace velm::token {
namespace {

constexpr long kVersion = 1;

using Algorithm = Handle<X509_ALGOR, X509_ALGOR_free>;
using SignerInfo = Handle<PKCS7_SIGNER_INFO, PKCS7_SIGNER_INFO_free>;

OctetString octets(ByteView bytes) {
  OctetString string(ASN1_OCTET_STRING_new());
  require(string != nullptr, kUnknownError);
  set_bytes(string.get(), bytes);
  return string;
}

void set_algorithm(X509_ALGOR* target, ASN1_OBJECT* object) {
  require(object != nullptr && X509_ALGOR_set0(target, object, V_ASN1_NULL, nullptr) == 1, kUnknownError);
}

ASN1_OBJECT* digest_object(DigestId digest) { return OBJ_nid2obj(EVP_MD_get_type(digest_of(digest))); }

// The content of PKCS#7 has a place of its own; that of any other type lies in the general one.
void set_content(PKCS7* contents, const char* type, const std::optional<ByteView>& content) {
  ASN1_OBJECT_free(contents->type);
  contents->type = object_of(type).release();
  if (!content) return;
  if (OBJ_obj2nid(contents->type) == NID_pkcs7_data) {
    contents->d.data = octets(*content).release();
  } else {
    contents->d.other = require_pointer(ASN1_TYPE_new(), kUnknownError);
    ASN1_TYPE_set(contents->d.other, V_ASN1_OCTET_STRING, octets(*content).release());
  }
}

void add_attribute(PKCS7_SIGNER_INFO* signer, int nid, int type, void* value) {
  require(value != nullptr && PKCS7_add_signed_attribute(signer, nid, type, value) == 1, kUnknownError);
}

void add_attributes(PKCS7_SIGNER_INFO* signer, const char* content_type, ByteView content_hash) {
  add_attribute(signer, NID_pkcs9_contentType, V_ASN1_OBJECT, object_of(content_type).release());
  add_attribute(signer, NID_pkcs9_signingTime, V_ASN1_UTCTIME, X509_gmtime_adj(nullptr, 0));
  add_attribute(signer, NID_pkcs9_messageDigest, V_ASN1_OCTET_STRING, octets(content_hash).release());
}

Bytes attributes_der(const PKCS7_SIGNER_INFO* signer) {
  return der_of<const ASN1_VALUE>(
      [](const ASN1_VALUE* value, uint8_t** end) {
        return ASN1_item_i2d(value, end, ASN1_ITEM_rptr(PKCS7_ATTR_SIGN));
      },
      reinterpret_cast<const ASN1_VALUE*>(signer->auth_attr));
}

SignerInfo make_signer(const SignedMessageOrder& order, const MessageTypes& types, ByteView signed_hash,
                       const HashSigner& sign) {
  SignerInfo signer(PKCS7_SIGNER_INFO_new());
  require(signer && ASN1_INTEGER_set(signer->version, kVersion) == 1 &&
              set_issuer_and_serial(signer->issuer_and_serial, order.signer),
          kUnknownError);
  set_algorithm(signer->digest_alg, digest_object(order.digest));
  set_algorithm(signer->digest_enc_alg, object_of(types.signature_algorithm).release());
  Bytes attributes_hash;
  if (!order.content_hash.empty()) {
    add_attributes(signer.get(), types.data, order.content_hash);
    attributes_hash = signed_hash_of(order.signer, order.digest, attributes_der(signer.get()));
    signed_hash = attributes_hash;
  }
  const Bytes signature = sign(signed_hash);
  ASN1_OCTET_STRING_free(signer->enc_digest);
  signer->enc_digest = octets(signature).release();
  return signer;
}

}  // namespace

Bytes signed_hash_of(X509* signer, DigestId digest, ByteView content) {
  return hash_with_prefix(digest, signed_prefix(key_of(signer).get(), {}), content);
}

Bytes encode_signed_message(const SignedMessageOrder& order, ByteView signed_hash, const HashSigner& sign) {
  const MessageTypes& types = types_for(kind_of(key_of(order.signer).get()));
  const Pkcs7Signed message(PKCS7_SIGNED_new());
  require(message && ASN1_INTEGER_set(message->version, kVersion) == 1, kUnknownError);

  Algorithm digest(X509_ALGOR_new());
  require(digest != nullptr, kUnknownError);
  set_algorithm(digest.get(), digest_object(order.digest));
  require(sk_X509_ALGOR_push(message->md_algs, digest.get()) > 0, kUnknownError);
  digest.release();

  set_content(message->contents, types.data, order.content);

  message->cert = require_pointer(sk_X509_new_null(), kUnknownError);
  require(sk_X509_push(message->cert, order.signer) > 0, kUnknownError);
  X509_up_ref(order.signer);

  SignerInfo signer = make_signer(order, types, signed_hash, sign);
  require(sk_PKCS7_SIGNER_INFO_push(message->signer_info, signer.get()) > 0, kUnknownError);
  signer.release();
  return wrap_content(types.signed_data, der_of<const PKCS7_SIGNED>(i2d_PKCS7_SIGNED, message.get()));
}

}  // namespace velm::token

#include "softtoken/crypto/signed_data.h"

#include <algorithm>

#include <openssl/ess.h>

#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/content_info.h"
#include "softtoken/crypto/signing.h"

namespace velm::token {
namespace {

using Time = Handle<ASN1_TIME, ASN1_TIME_free>;
using SignerInfo = Handle<PKCS7_SIGNER_INFO, PKCS7_SIGNER_INFO_free>;
using SigningCertificate = Handle<ESS_SIGNING_CERT_V2, ESS_SIGNING_CERT_V2_free>;

OctetString octets(ByteView bytes) {
  OctetString string(allocated(ASN1_OCTET_STRING_new()));
  set_bytes(string.get(), bytes);
  return string;
}

Object digest_object(DigestId digest) { return Object(OBJ_nid2obj(EVP_MD_get_type(digest_of(digest)))); }

// OpenSSL stores id-data in `d.data` and content types other than those of PKCS#7 in `d.other`.
void set_content(PKCS7* contents, const char* type, const ByteView* content) {
  Object wanted = object_of(type);
  ASN1_OBJECT_free(contents->type);
  contents->type = wanted.release();
  if (content == nullptr) return;
  if (OBJ_obj2nid(contents->type) == NID_pkcs7_data) {
    contents->d.data = octets(*content).release();
  } else {
    OctetString string = octets(*content);
    contents->d.other = allocated(ASN1_TYPE_new());
    ASN1_TYPE_set(contents->d.other, V_ASN1_OCTET_STRING, string.release());
  }
}

std::optional<Bytes> content_of(const PKCS7_SIGNED* message) {
  PKCS7* contents = message->contents;
  if (OBJ_obj2nid(contents->type) == NID_pkcs7_data) {
    if (contents->d.data == nullptr) return std::nullopt;
    return copy_of(view_of(contents->d.data));
  }
  // The remaining PKCS#7 types have structured content, not octets.
  require(PKCS7_type_is_other(contents) == 1, kPkcs7Format);
  if (contents->d.other == nullptr) return std::nullopt;
  require(ASN1_TYPE_get(contents->d.other) == V_ASN1_OCTET_STRING, kPkcs7Format);
  return copy_of(view_of(contents->d.other->value.octet_string));
}

template <typename Value>
void add_attribute(PKCS7_SIGNER_INFO* signer, int nid, int type, Value value) {
  require(value && PKCS7_add_signed_attribute(signer, nid, type, value.get()) == 1, kUnknownError);
  value.release();
}

void add_certificate_attribute(PKCS7_SIGNER_INFO* signer, X509* certificate, DigestId digest) {
  const SigningCertificate name(
      allocated(OSSL_ESS_signing_cert_v2_new_init(digest_of(digest), certificate, nullptr, 0)));
  add_attribute(signer, NID_id_smime_aa_signingCertificateV2, V_ASN1_SEQUENCE,
                octets(der_of<const ESS_SIGNING_CERT_V2>(i2d_ESS_SIGNING_CERT_V2, name.get())));
}

void add_attributes(PKCS7_SIGNER_INFO* signer, const SignedMessageOrder& order, const char* content_type) {
  add_attribute(signer, NID_pkcs9_contentType, V_ASN1_OBJECT, object_of(content_type));
  add_attribute(signer, NID_pkcs9_signingTime, V_ASN1_UTCTIME, Time(X509_gmtime_adj(nullptr, 0)));
  add_attribute(signer, NID_pkcs9_messageDigest, V_ASN1_OCTET_STRING,
                octets(hash(order.digest, order.content)));
  if (order.time_stamp) add_certificate_attribute(signer, order.signer, order.digest);
}

Bytes attributes_der(const PKCS7_SIGNER_INFO* signer, const ASN1_ITEM* form) {
  const auto* attributes = reinterpret_cast<const ASN1_VALUE*>(signer->auth_attr);
  return der_of<const ASN1_VALUE>(
      [form](const ASN1_VALUE* value, uint8_t** end) { return ASN1_item_i2d(value, end, form); }, attributes,
      kPkcs7Format);
}

SignerInfo make_signer(const SignedMessageOrder& order, const MessageTypes& types, const DataSigner& sign) {
  SignerInfo signer(allocated(PKCS7_SIGNER_INFO_new()));
  require(ASN1_INTEGER_set(signer->version, 1) == 1 &&
              set_issuer_and_serial(signer->issuer_and_serial, order.signer),
          kUnknownError);
  set_algorithm(signer->digest_alg, digest_object(order.digest), kUnknownError);
  set_algorithm(signer->digest_enc_alg, object_of(types.signature_algorithm), kUnknownError);
  if (order.attributes) {
    add_attributes(signer.get(), order, types.data);
    set_bytes(signer->enc_digest, sign(attributes_der(signer.get(), ASN1_ITEM_rptr(PKCS7_ATTR_SIGN))));
  } else {
    set_bytes(signer->enc_digest, sign(order.content));
  }
  return signer;
}

void add_certificate(PKCS7_SIGNED* message, X509* certificate) {
  message->cert = allocated(sk_X509_new_null());
  require(sk_X509_push(message->cert, certificate) > 0, kUnknownError);
  X509_up_ref(certificate);
}

void add_digest(PKCS7_SIGNED* message, DigestId digest) {
  Algorithm algorithm(allocated(X509_ALGOR_new()));
  set_algorithm(algorithm.get(), digest_object(digest), kUnknownError);
  require(sk_X509_ALGOR_push(message->md_algs, algorithm.get()) > 0, kUnknownError);
  algorithm.release();
}

X509* find_signer(const PKCS7_SIGNED* message, const PKCS7_SIGNER_INFO* signer) {
  for (int i = 0; i < sk_X509_num(message->cert); ++i) {
    X509* certificate = sk_X509_value(message->cert, i);
    if (names_certificate(signer->issuer_and_serial, certificate)) return certificate;
  }
  throw TokenError(kCertificateNotFound);
}

void read_attributes(const PKCS7_SIGNER_INFO* signer, SignedMessage& message) {
  if (sk_X509_ATTRIBUTE_num(signer->auth_attr) <= 0) return;
  message.signed_attributes = attributes_der(signer, ASN1_ITEM_rptr(PKCS7_ATTR_VERIFY));
  const ASN1_OCTET_STRING* digest = PKCS7_digest_from_attributes(signer->auth_attr);
  require(digest != nullptr, kPkcs7Format);
  message.attribute_digest = copy_of(view_of(digest));
}

}  // namespace

Bytes encode_signed_message(const SignedMessageOrder& order, const DataSigner& sign) {
  const MessageTypes& types =
      order.time_stamp ? kTimeStampTypes : types_for(kind_of(key_of(order.signer).get()));
  const Pkcs7Signed message(allocated(PKCS7_SIGNED_new()));
  // RFC 5652 section 5.1: version 3 unless the content is id-data. PKCS#7 and GM/T 0010 use version 1.
  require(ASN1_INTEGER_set(message->version, order.time_stamp ? 3 : 1) == 1, kUnknownError);
  add_digest(message.get(), order.digest);
  set_content(message->contents, types.data, order.detached ? nullptr : &order.content);
  add_certificate(message.get(), order.signer);
  SignerInfo signer = make_signer(order, types, sign);
  require(sk_PKCS7_SIGNER_INFO_push(message->signer_info, signer.get()) > 0, kUnknownError);
  signer.release();
  return wrap_content<const PKCS7_SIGNED>(types.signed_data, i2d_PKCS7_SIGNED, message.get());
}

Bytes make_signed_message(EVP_PKEY* key, X509* certificate, ByteView data, bool detached) {
  require(X509_check_private_key(certificate, key) == 1, kKeyMismatch);
  const DigestId digest = digest_for(key);
  return encode_signed_message(
      {.signer = certificate, .digest = digest, .content = data, .detached = detached},
      [&](ByteView signed_data) { return sign_data(key, digest, signed_data); });
}

SignedMessage parse_signed_message(ByteView message) {
  const Bytes inner = unwrap_content(message, kPkcs7Types.signed_data, kGmTypes.signed_data);
  const auto parsed = from_der<Pkcs7Signed>(d2i_PKCS7_SIGNED, inner, kPkcs7Format);
  // With several signers, callers would take one verified signature for all of them.
  require(sk_PKCS7_SIGNER_INFO_num(parsed->signer_info) == 1, kPkcs7Format);
  PKCS7_SIGNER_INFO* signer = sk_PKCS7_SIGNER_INFO_value(parsed->signer_info, 0);

  SignedMessage result;
  result.content = content_of(parsed.get());
  result.signer = parse_certificate(certificate_der(find_signer(parsed.get(), signer)));
  result.signature = copy_of(view_of(signer->enc_digest));
  result.digest = EVP_get_digestbyobj(signer->digest_alg->algorithm);
  read_attributes(signer, result);
  return result;
}

void verify_signed_message(ByteView message, ByteView data) {
  const SignedMessage parsed = parse_signed_message(message);
  if (parsed.content) {
    require(data.empty() || std::ranges::equal(data, *parsed.content), kVerifyFailed);
    data = *parsed.content;
  }
  const DigestId digest = digest_id_of(parsed.digest);
  const Key key = key_of(parsed.signer.get());
  if (parsed.signed_attributes.empty()) {
    verify_data(key.get(), digest, data, parsed.signature);
    return;
  }
  require(hash(digest, data) == parsed.attribute_digest, kVerifyFailed);
  verify_data(key.get(), digest, parsed.signed_attributes, parsed.signature);
}

}  // namespace velm::token

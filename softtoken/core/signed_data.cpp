#include "softtoken/core/signed_data.h"

#include <algorithm>

#include "softtoken/core/certificate.h"
#include "softtoken/core/content_info.h"
#include "softtoken/core/signing.h"

namespace velm::token {
namespace {

constexpr int kVersion = 1;

void set_algorithm(X509_ALGOR* target, ASN1_OBJECT* object) {
  require(object != nullptr && X509_ALGOR_set0(target, object, V_ASN1_NULL, nullptr) == 1, kUnknownError);
}

// The content of a message lies in its type's own place; for the type of GM/T 0010 that is the general one.
void set_content(PKCS7_SIGNED* message, const MessageTypes& types, const ByteView* data) {
  PKCS7* contents = message->contents;
  ASN1_OBJECT_free(contents->type);
  contents->type = object_of(types.data).release();
  if (data == nullptr) return;
  OctetString octets(ASN1_OCTET_STRING_new());
  require(octets != nullptr, kUnknownError);
  set_bytes(octets.get(), *data);
  if (OBJ_obj2nid(contents->type) == NID_pkcs7_data) {
    contents->d.data = octets.release();
  } else {
    contents->d.other = require_pointer(ASN1_TYPE_new(), kUnknownError);
    ASN1_TYPE_set(contents->d.other, V_ASN1_OCTET_STRING, octets.release());
  }
}

std::optional<Bytes> content_of(const PKCS7_SIGNED* message) {
  const PKCS7* contents = message->contents;
  if (OBJ_obj2nid(contents->type) == NID_pkcs7_data) {
    if (contents->d.data == nullptr) return std::nullopt;
    return copy_of(view_of(contents->d.data));
  }
  // The other types of PKCS#7 have places of their own, with structures that are no data.
  require(is_object(contents->type, kGmTypes.data), kPkcs7Format);
  if (contents->d.other == nullptr) return std::nullopt;
  require(ASN1_TYPE_get(contents->d.other) == V_ASN1_OCTET_STRING, kPkcs7Format);
  return copy_of(view_of(contents->d.other->value.octet_string));
}

void add_signer(PKCS7_SIGNED* message, const MessageTypes& types, X509* certificate, DigestId digest,
                ByteView signature) {
  Handle<PKCS7_SIGNER_INFO, PKCS7_SIGNER_INFO_free> signer(PKCS7_SIGNER_INFO_new());
  require(signer && ASN1_INTEGER_set(signer->version, kVersion) == 1 &&
              set_issuer_and_serial(signer->issuer_and_serial, certificate),
          kUnknownError);
  set_algorithm(signer->digest_alg, OBJ_nid2obj(EVP_MD_get_type(digest_of(digest))));
  set_algorithm(signer->digest_enc_alg, object_of(types.signature_algorithm).release());
  set_bytes(signer->enc_digest, signature);
  require(sk_PKCS7_SIGNER_INFO_push(message->signer_info, signer.get()) > 0, kUnknownError);
  signer.release();
}

void add_certificate(PKCS7_SIGNED* message, X509* certificate) {
  message->cert = require_pointer(sk_X509_new_null(), kUnknownError);
  require(sk_X509_push(message->cert, certificate) > 0, kUnknownError);
  X509_up_ref(certificate);
}

void add_digest(PKCS7_SIGNED* message, DigestId digest) {
  Handle<X509_ALGOR, X509_ALGOR_free> algorithm(X509_ALGOR_new());
  require(algorithm != nullptr, kUnknownError);
  set_algorithm(algorithm.get(), OBJ_nid2obj(EVP_MD_get_type(digest_of(digest))));
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

void read_attributes(PKCS7_SIGNER_INFO* signer, SignedMessage& message) {
  if (sk_X509_ATTRIBUTE_num(signer->auth_attr) <= 0) return;
  message.signed_attributes = der_of<const ASN1_VALUE>(
      [](const ASN1_VALUE* value, uint8_t** end) {
        return ASN1_item_i2d(value, end, ASN1_ITEM_rptr(PKCS7_ATTR_VERIFY));
      },
      reinterpret_cast<const ASN1_VALUE*>(signer->auth_attr), kPkcs7Format);
  const ASN1_OCTET_STRING* digest = PKCS7_digest_from_attributes(signer->auth_attr);
  require(digest != nullptr, kPkcs7Format);
  message.attribute_digest = copy_of(view_of(digest));
}

DigestId digest_id(const EVP_MD* digest) {
  for (const DigestId id : {DigestId::sm3, DigestId::sha1, DigestId::sha256}) {
    if (digest != nullptr && EVP_MD_get_type(digest) == EVP_MD_get_type(digest_of(id))) return id;
  }
  throw TokenError(kAlgorithmUnsupported);
}

}  // namespace

Bytes make_signed_message(EVP_PKEY* key, X509* certificate, ByteView data, bool detached) {
  const MessageTypes& types = types_for(kind_of(key));
  const DigestId digest = digest_for(key);
  const Pkcs7Signed message(PKCS7_SIGNED_new());
  require(message && ASN1_INTEGER_set(message->version, kVersion) == 1, kUnknownError);
  add_digest(message.get(), digest);
  set_content(message.get(), types, detached ? nullptr : &data);
  add_certificate(message.get(), certificate);
  add_signer(message.get(), types, certificate, digest, sign_data(key, digest, data));
  return wrap_content(types.signed_data, der_of<const PKCS7_SIGNED>(i2d_PKCS7_SIGNED, message.get()));
}

SignedMessage parse_signed_message(ByteView message) {
  const Bytes inner = unwrap_content(message, kPkcs7Types.signed_data, kGmTypes.signed_data);
  const auto parsed = from_der<Pkcs7Signed>(d2i_PKCS7_SIGNED, inner, kPkcs7Format);
  require(sk_PKCS7_SIGNER_INFO_num(parsed->signer_info) > 0, kPkcs7Format);
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
  const DigestId digest = digest_id(parsed.digest);
  const Key key = key_of(parsed.signer.get());
  if (parsed.signed_attributes.empty()) {
    verify_data(key.get(), digest, data, parsed.signature);
    return;
  }
  require(hash(digest, data) == parsed.attribute_digest, kVerifyFailed);
  verify_data(key.get(), digest, parsed.signed_attributes, parsed.signature);
}

}  // namespace velm::token

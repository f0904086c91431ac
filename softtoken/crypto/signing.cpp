#include "softtoken/crypto/signing.h"

namespace velm::token {
namespace {

using protocol::kDefaultUserId;

// SM3 with SM2, SHA-1 and SHA-256 with RSA; no other combination.
void require_fitting(const EVP_PKEY* key, DigestId digest) {
  require((kind_of(key) == KeyKind::sm2) == (digest == DigestId::sm3), kAlgorithmUnsupported);
}

bool set_signer_id(EVP_PKEY* key, EVP_PKEY_CTX* context) {
  return kind_of(key) != KeyKind::sm2 ||
         EVP_PKEY_CTX_set1_id(context, kDefaultUserId.data(), kDefaultUserId.size()) == 1;
}

// Sets up signing or verification of a hash value. Only RSA has a padding and a DigestInfo.
KeyContext hash_context(EVP_PKEY* key, DigestId digest, ByteView hash, int (*start)(EVP_PKEY_CTX*)) {
  require_fitting(key, digest);
  require(hash.size() == static_cast<size_t>(EVP_MD_get_size(digest_of(digest))), kBadLength);
  KeyContext context(allocated(EVP_PKEY_CTX_new(key, nullptr)));
  const bool ready =
      start(context.get()) == 1 && (kind_of(key) == KeyKind::sm2 ||
                                    (EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) == 1 &&
                                     EVP_PKEY_CTX_set_signature_md(context.get(), digest_of(digest)) == 1));
  require(ready, kUnknownError);
  return context;
}

}  // namespace

const EVP_MD* digest_of(DigestId id) {
  switch (id) {
    case DigestId::sm3:
      return EVP_sm3();
    case DigestId::sha1:
      return EVP_sha1();
    case DigestId::sha256:
      return EVP_sha256();
  }
  throw TokenError(kAlgorithmUnsupported);
}

DigestId digest_id_of(const EVP_MD* digest) {
  for (const DigestId id : {DigestId::sm3, DigestId::sha1, DigestId::sha256}) {
    if (digest != nullptr && EVP_MD_get_type(digest) == EVP_MD_get_type(digest_of(id))) return id;
  }
  throw TokenError(kAlgorithmUnsupported);
}

DigestId digest_for(const EVP_PKEY* key) {
  if (kind_of(key) == KeyKind::sm2) return DigestId::sm3;
  return bits_of(key) <= 1024 ? DigestId::sha1 : DigestId::sha256;
}

Bytes hash(DigestId id, ByteView data) {
  Bytes value(EVP_MAX_MD_SIZE);
  unsigned length = 0;
  require(EVP_Digest(data.data(), data.size(), value.data(), &length, digest_of(id), nullptr) == 1,
          kUnknownError);
  value.resize(length);
  return value;
}

DigestContext start_signing(EVP_PKEY* key, DigestId digest) {
  require_fitting(key, digest);
  DigestContext context(allocated(EVP_MD_CTX_new()));
  EVP_PKEY_CTX* key_context = nullptr;
  const bool ready = EVP_DigestSignInit(context.get(), &key_context, digest_of(digest), nullptr, key) == 1 &&
                     set_signer_id(key, key_context);
  require(ready, kSignFailed);
  return context;
}

Bytes sign_data(EVP_PKEY* key, DigestId digest, ByteView data) {
  const DigestContext context = start_signing(key, digest);
  Bytes signature(static_cast<size_t>(EVP_PKEY_get_size(key)));
  size_t length = signature.size();
  require(EVP_DigestSign(context.get(), signature.data(), &length, data.data(), data.size()) == 1,
          kSignFailed);
  signature.resize(length);
  return signature;
}

void verify_data(EVP_PKEY* key, DigestId digest, ByteView data, ByteView signature) {
  require_fitting(key, digest);
  const DigestContext context(allocated(EVP_MD_CTX_new()));
  EVP_PKEY_CTX* key_context = nullptr;
  const bool valid =
      EVP_DigestVerifyInit(context.get(), &key_context, digest_of(digest), nullptr, key) == 1 &&
      set_signer_id(key, key_context) &&
      EVP_DigestVerify(context.get(), signature.data(), signature.size(), data.data(), data.size()) == 1;
  require(valid, kVerifyFailed);
}

Bytes sign_hash(EVP_PKEY* key, DigestId digest, ByteView hash) {
  const KeyContext context = hash_context(key, digest, hash, EVP_PKEY_sign_init);
  Bytes signature(static_cast<size_t>(EVP_PKEY_get_size(key)));
  size_t length = signature.size();
  require(EVP_PKEY_sign(context.get(), signature.data(), &length, hash.data(), hash.size()) == 1,
          kSignFailed);
  signature.resize(length);
  return signature;
}

void verify_hash(EVP_PKEY* key, DigestId digest, ByteView hash, ByteView signature) {
  const KeyContext context = hash_context(key, digest, hash, EVP_PKEY_verify_init);
  const int valid =
      EVP_PKEY_verify(context.get(), signature.data(), signature.size(), hash.data(), hash.size());
  require(valid == 1, kVerifyFailed);
}

}  // namespace velm::token

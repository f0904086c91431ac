#include "softtoken/crypto/asymmetric.h"

#include <openssl/rsa.h>

namespace velm::token {
namespace {

KeyContext context_for(EVP_PKEY* key, int (*start)(EVP_PKEY_CTX*)) {
  KeyContext context(allocated(EVP_PKEY_CTX_new(key, nullptr)));
  const bool ready =
      start(context.get()) == 1 &&
      (kind_of(key) == KeyKind::sm2 || EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) == 1);
  require(ready, kUnknownError);
  return context;
}

}  // namespace

Bytes encrypt_with_key(EVP_PKEY* key, ByteView plain) {
  const KeyContext context = context_for(key, EVP_PKEY_encrypt_init);
  size_t length = 0;
  require(EVP_PKEY_encrypt(context.get(), nullptr, &length, plain.data(), plain.size()) == 1, kEncryptFailed);
  Bytes cipher(length);
  require(EVP_PKEY_encrypt(context.get(), cipher.data(), &length, plain.data(), plain.size()) == 1,
          kEncryptFailed);
  cipher.resize(length);
  return cipher;
}

SecretBytes decrypt_with_key(EVP_PKEY* key, ByteView cipher) {
  const KeyContext context = context_for(key, EVP_PKEY_decrypt_init);
  size_t length = 0;
  require(EVP_PKEY_decrypt(context.get(), nullptr, &length, cipher.data(), cipher.size()) == 1,
          kDecryptFailed);
  SecretBytes plain(length);
  require(EVP_PKEY_decrypt(context.get(), plain.data(), &length, cipher.data(), cipher.size()) == 1,
          kDecryptFailed);
  plain.resize(length);
  return plain;
}

}  // namespace velm::token

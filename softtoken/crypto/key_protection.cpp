#include "softtoken/crypto/key_protection.h"

#include <openssl/kdf.h>

#include "softtoken/crypto/openssl_handles.h"
#include "softtoken/crypto/random.h"

namespace velm::token {
namespace {

constexpr uint64_t kScryptN = 16384;
constexpr uint64_t kScryptR = 8;
constexpr uint64_t kScryptP = 1;
constexpr uint64_t kScryptMemory = 64 * 1024 * 1024;
constexpr size_t kKeySize = 32;
constexpr size_t kNonceSize = 12;
constexpr size_t kTagSize = 16;

int size_of(ByteView bytes) { return static_cast<int>(bytes.size()); }

}  // namespace

SecretBytes pin_key(ByteView pin, ByteView salt) {
  SecretBytes key(kKeySize);
  const int done =
      EVP_PBE_scrypt(reinterpret_cast<const char*>(pin.data()), pin.size(), salt.data(), salt.size(),
                     kScryptN, kScryptR, kScryptP, kScryptMemory, key.data(), key.size());
  require(done == 1, kUnknownError);
  return key;
}

Bytes wrap(ByteView key, std::string_view purpose, ByteView plain) {
  Bytes block(kNonceSize + plain.size() + kTagSize);
  uint8_t* const nonce = block.data();
  uint8_t* const cipher = nonce + kNonceSize;
  fill_random({nonce, kNonceSize});
  const CipherContext context(allocated(EVP_CIPHER_CTX_new()));
  const ByteView name = as_bytes(purpose);
  int length = 0;
  const bool done =
      EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, key.data(), nonce) == 1 &&
      EVP_EncryptUpdate(context.get(), nullptr, &length, name.data(), size_of(name)) == 1 &&
      EVP_EncryptUpdate(context.get(), cipher, &length, plain.data(), size_of(plain)) == 1 &&
      EVP_EncryptFinal_ex(context.get(), cipher + plain.size(), &length) == 1 &&
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, kTagSize, cipher + plain.size()) == 1;
  require(done, kUnknownError);
  return block;
}

SecretBytes unwrap(ByteView key, std::string_view purpose, ByteView block) {
  require(block.size() >= kNonceSize + kTagSize, kWrongPin);
  const ByteView cipher = block.subspan(kNonceSize, block.size() - kNonceSize - kTagSize);
  Bytes tag = copy_of(block.last(kTagSize));
  SecretBytes plain(cipher.size() + 1);
  const CipherContext context(allocated(EVP_CIPHER_CTX_new()));
  const ByteView name = as_bytes(purpose);
  int length = 0;
  const bool done =
      EVP_DecryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, key.data(), block.data()) == 1 &&
      EVP_DecryptUpdate(context.get(), nullptr, &length, name.data(), size_of(name)) == 1 &&
      EVP_DecryptUpdate(context.get(), plain.data(), &length, cipher.data(), size_of(cipher)) == 1 &&
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, kTagSize, tag.data()) == 1 &&
      EVP_DecryptFinal_ex(context.get(), plain.data() + cipher.size(), &length) == 1;
  require(done, kWrongPin);
  plain.resize(cipher.size());
  return plain;
}

}  // namespace velm::token

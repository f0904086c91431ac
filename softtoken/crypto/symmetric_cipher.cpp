#include "softtoken/crypto/symmetric_cipher.h"

#include <algorithm>
#include <iterator>

namespace velm::token {
namespace {

using protocol::Cipher;
using protocol::CipherMode;

// EVP_CipherUpdate() takes the length as an int.
constexpr size_t kLargestPiece = size_t{1} << 30;

struct Row {
  Cipher cipher;
  size_t key_length;
  const EVP_CIPHER* (*by_mode[4])();
};

// One column per mode, in the order of CipherMode.
constexpr Row kCiphers[] = {
    {Cipher::sm4, 16, {EVP_sm4_ecb, EVP_sm4_cbc, EVP_sm4_cfb128, EVP_sm4_ofb}},
    {Cipher::triple_des, 16, {EVP_des_ede_ecb, EVP_des_ede_cbc, EVP_des_ede_cfb64, EVP_des_ede_ofb}},
    {Cipher::triple_des, 24, {EVP_des_ede3_ecb, EVP_des_ede3_cbc, EVP_des_ede3_cfb64, EVP_des_ede3_ofb}},
    {Cipher::aes, 16, {EVP_aes_128_ecb, EVP_aes_128_cbc, EVP_aes_128_cfb128, EVP_aes_128_ofb}},
    {Cipher::aes, 24, {EVP_aes_192_ecb, EVP_aes_192_cbc, EVP_aes_192_cfb128, EVP_aes_192_ofb}},
    {Cipher::aes, 32, {EVP_aes_256_ecb, EVP_aes_256_cbc, EVP_aes_256_cfb128, EVP_aes_256_ofb}},
};

}  // namespace

SymmetricAlgorithm symmetric_algorithm(uint32_t cipher, uint32_t mode) {
  const bool has_cipher = std::ranges::find(kCiphers, Cipher{cipher}, &Row::cipher) != std::end(kCiphers);
  const bool has_mode = mode >= number_of(CipherMode::ecb) && mode <= number_of(CipherMode::ofb);
  require(has_cipher && has_mode, kAlgorithmUnsupported);
  return {Cipher{cipher}, CipherMode{mode}};
}

SymmetricAlgorithm symmetric_algorithm(uint32_t identifier) {
  constexpr uint32_t kIdentifierBits = 20;
  require(identifier >> kIdentifierBits == 0, kAlgorithmUnsupported);
  return symmetric_algorithm(number_of(protocol::cipher_of(identifier)),
                             number_of(protocol::mode_of(identifier)));
}

const EVP_CIPHER* symmetric_cipher(SymmetricAlgorithm algorithm, size_t key_length) {
  const size_t column = number_of(algorithm.mode) - number_of(CipherMode::ecb);
  for (const Row& row : kCiphers) {
    if (row.cipher == algorithm.cipher && row.key_length == key_length) return row.by_mode[column]();
  }
  throw TokenError(kBadLength);
}

SymmetricOperation::SymmetricOperation(const EVP_CIPHER* cipher, Direction direction, ByteView key,
                                       ByteView iv)
    : context_(allocated(EVP_CIPHER_CTX_new())) {
  require(key.size() == static_cast<size_t>(EVP_CIPHER_get_key_length(cipher)), kBadLength);
  const auto iv_length = static_cast<size_t>(EVP_CIPHER_get_iv_length(cipher));
  require(iv_length == 0 || iv.size() == iv_length, kBadLength);
  const int started = EVP_CipherInit_ex(context_.get(), cipher, nullptr, key.data(),
                                        iv_length == 0 ? nullptr : iv.data(), static_cast<int>(direction));
  require(started == 1, kUnknownError);
}

SymmetricOperation::SymmetricOperation(const X509_ALGOR* algorithm, ByteView key)
    : context_(allocated(EVP_CIPHER_CTX_new())) {
  const EVP_CIPHER* cipher = EVP_get_cipherbyobj(algorithm->algorithm);
  require(cipher != nullptr, kAlgorithmUnsupported);
  require(key.size() == static_cast<size_t>(EVP_CIPHER_get_key_length(cipher)), kBadLength);
  EVP_CIPHER_CTX* c = context_.get();
  require(EVP_DecryptInit_ex(c, cipher, nullptr, nullptr, nullptr) == 1, kUnknownError);
  require(EVP_CIPHER_asn1_to_param(c, algorithm->parameter) > 0, kBadInput);
  require(EVP_DecryptInit_ex(c, nullptr, nullptr, key.data(), nullptr) == 1, kUnknownError);
}

SymmetricOperation::Direction SymmetricOperation::direction() const {
  return EVP_CIPHER_CTX_is_encrypting(context_.get()) == 1 ? Direction::encrypt : Direction::decrypt;
}

void SymmetricOperation::update(ByteView piece, SecretBytes& out) {
  const auto block = static_cast<size_t>(EVP_CIPHER_CTX_get_block_size(context_.get()));
  while (!piece.empty()) {
    const ByteView part = piece.first(std::min(piece.size(), kLargestPiece));
    const size_t before = out.size();
    out.resize(before + part.size() + block);
    int length = 0;
    const int done = EVP_CipherUpdate(context_.get(), out.data() + before, &length, part.data(),
                                      static_cast<int>(part.size()));
    out.resize(before + (done == 1 ? static_cast<size_t>(length) : 0));
    require(done == 1, direction() == Direction::encrypt ? kEncryptFailed : kDecryptFailed);
    piece = piece.subspan(part.size());
  }
}

void SymmetricOperation::finish(SecretBytes& out) {
  const size_t before = out.size();
  out.resize(before + EVP_MAX_BLOCK_LENGTH);
  int length = 0;
  const int done = EVP_CipherFinal_ex(context_.get(), out.data() + before, &length);
  out.resize(before + (done == 1 ? static_cast<size_t>(length) : 0));
  const int restarted = EVP_CipherInit_ex(context_.get(), nullptr, nullptr, nullptr, nullptr, -1);
  require(done == 1 && restarted == 1, direction() == Direction::encrypt ? kEncryptFailed : kDecryptFailed);
}

void SymmetricOperation::convert(const ByteSource& from, const ByteSink& to) {
  SecretBytes converted;
  for (ByteView piece; !(piece = from()).empty();) {
    converted.clear();
    update(piece, converted);
    to(converted);
  }
  converted.clear();
  finish(converted);
  to(converted);
}

}  // namespace velm::token

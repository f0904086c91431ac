#include "softtoken/crypto/symmetric_cipher.h"

#include <algorithm>

namespace velm::token {
namespace {

// Pieces are cut to what OpenSSL counts in an int.
constexpr size_t kLargestPiece = size_t{1} << 30;

struct Row {
  CipherFamily family;
  size_t key_length;
  const EVP_CIPHER* (*by_mode[4])();
};

constexpr Row kCiphers[] = {
    {CipherFamily::sm4, 16, {EVP_sm4_ecb, EVP_sm4_cbc, EVP_sm4_cfb128, EVP_sm4_ofb}},
    {CipherFamily::triple_des, 16, {EVP_des_ede_ecb, EVP_des_ede_cbc, EVP_des_ede_cfb64, EVP_des_ede_ofb}},
    {CipherFamily::triple_des, 24,
     {EVP_des_ede3_ecb, EVP_des_ede3_cbc, EVP_des_ede3_cfb64, EVP_des_ede3_ofb}},
    {CipherFamily::aes, 16, {EVP_aes_128_ecb, EVP_aes_128_cbc, EVP_aes_128_cfb128, EVP_aes_128_ofb}},
    {CipherFamily::aes, 24, {EVP_aes_192_ecb, EVP_aes_192_cbc, EVP_aes_192_cfb128, EVP_aes_192_ofb}},
    {CipherFamily::aes, 32, {EVP_aes_256_ecb, EVP_aes_256_cbc, EVP_aes_256_cfb128, EVP_aes_256_ofb}},
};

}  // namespace

const EVP_CIPHER* symmetric_cipher(CipherFamily family, CipherMode mode, size_t key_length) {
  for (const Row& row : kCiphers) {
    if (row.family == family && row.key_length == key_length) return row.by_mode[static_cast<size_t>(mode)]();
  }
  throw TokenError(kBadLength);
}

SymmetricAlgorithm symmetric_algorithm(uint32_t identifier) {
  SymmetricAlgorithm algorithm{};
  switch (identifier & 0xFFFFFF00) {
    case 0x400: algorithm.family = CipherFamily::sm4; break;
    case 0x2000: algorithm.family = CipherFamily::triple_des; break;
    case 0x4000:
    case 0x8000:
    case 0x10000: algorithm.family = CipherFamily::aes; break;
    default: throw TokenError(kAlgorithmUnsupported);
  }
  switch (identifier & 0xFF) {
    case 1: algorithm.mode = CipherMode::ecb; break;
    case 2: algorithm.mode = CipherMode::cbc; break;
    case 4: algorithm.mode = CipherMode::cfb; break;
    case 8: algorithm.mode = CipherMode::ofb; break;
    default: throw TokenError(kAlgorithmUnsupported);
  }
  return algorithm;
}

SymmetricOperation::SymmetricOperation(
    const EVP_CIPHER* cipher, Direction direction, ByteView key, ByteView iv)
    : context_(allocated(EVP_CIPHER_CTX_new())) {
  require(key.size() == static_cast<size_t>(EVP_CIPHER_get_key_length(cipher)), kBadLength);
  const auto iv_length = static_cast<size_t>(EVP_CIPHER_get_iv_length(cipher));
  require(iv_length == 0 || iv.size() == iv_length, kBadLength);
  const int started = EVP_CipherInit_ex(context_.get(), cipher, nullptr, key.data(),
                                        iv_length == 0 ? nullptr : iv.data(), static_cast<int>(direction));
  require(started == 1, kUnknownError);
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
    const int done = EVP_CipherUpdate(
        context_.get(), out.data() + before, &length, part.data(), static_cast<int>(part.size()));
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

}  // namespace velm::token

#pragma once

#include "protocol/identifiers.h"
#include "softtoken/crypto/openssl_handles.h"
#include "softtoken/crypto/secret.h"

namespace velm::token {

struct SymmetricAlgorithm {
  protocol::Cipher cipher;
  protocol::CipherMode mode;
};

/** From the numbers of the crypto module (velm_openssl_api.dll); throws kAlgorithmUnsupported. */
SymmetricAlgorithm symmetric_algorithm(uint32_t cipher, uint32_t mode);
/** From the identifier of GM/T 0006; throws kAlgorithmUnsupported. */
SymmetricAlgorithm symmetric_algorithm(uint32_t identifier);

/** The cipher for this key length (triple DES: 16 or 24 bytes); throws kBadLength if there is none. */
const EVP_CIPHER* symmetric_cipher(SymmetricAlgorithm algorithm, size_t key_length);

/** One encryption or decryption in pieces; ECB and CBC use PKCS#7 padding. */
class SymmetricOperation {
 public:
  enum class Direction { decrypt, encrypt };

  /** Throws kBadLength unless key and IV have the lengths of the cipher; ECB ignores the IV. */
  SymmetricOperation(const EVP_CIPHER* cipher, Direction direction, ByteView key, ByteView iv);

  Direction direction() const;

  /** Processes the next piece and appends the output to `out`. */
  void update(ByteView piece, SecretBytes& out);
  /** Appends the rest and restarts with the same key and IV. Throws kDecryptFailed on invalid padding. */
  void finish(SecretBytes& out);

 private:
  CipherContext context_;
};

}  // namespace velm::token

#pragma once

#include "protocol/identifiers.h"
#include "softtoken/crypto/openssl_handles.h"
#include "softtoken/crypto/secret.h"

namespace velm::token {

struct SymmetricAlgorithm {
  protocol::Cipher cipher;
  protocol::CipherMode mode;
};

/** By the numbers of the crypto module; throws the code for an unsupported algorithm. */
SymmetricAlgorithm symmetric_algorithm(uint32_t cipher, uint32_t mode);
/** By the identifier of GM/T 0006, likewise. */
SymmetricAlgorithm symmetric_algorithm(uint32_t identifier);

/** The cipher that takes keys of this length (triple DES: 16 or 24 bytes). */
const EVP_CIPHER* symmetric_cipher(SymmetricAlgorithm algorithm, size_t key_length);

/** One encryption or decryption, a piece at a time; PKCS#7 padding in the modes that work on whole blocks. */
class SymmetricOperation {
 public:
  enum class Direction { decrypt, encrypt };

  /** Key and IV must be of the cipher's lengths; an IV that the mode does not need is not looked at. */
  SymmetricOperation(const EVP_CIPHER* cipher, Direction direction, ByteView key, ByteView iv);

  Direction direction() const;

  /** What the next piece gives, appended to `out`. */
  void update(ByteView piece, SecretBytes& out);
  /** The rest; afterwards the operation starts anew. Throws when what was decrypted has no valid padding. */
  void finish(SecretBytes& out);

 private:
  CipherContext context_;
};

}  // namespace velm::token

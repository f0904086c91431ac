#pragma once

#include "protocol/identifiers.h"
#include "softtoken/crypto/byte_stream.h"
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
  /**
   * Decryption with the cipher and the parameters of an AlgorithmIdentifier. Throws kAlgorithmUnsupported for
   * an unknown cipher, kBadLength unless the key has its length, and kBadInput for unsuitable parameters.
   */
  SymmetricOperation(const X509_ALGOR* algorithm, ByteView key);

  Direction direction() const;

  /** Processes the next piece and appends the output to `out`. */
  void update(ByteView piece, SecretBytes& out);
  /** Appends the rest and restarts with the same key and IV. Throws kDecryptFailed on invalid padding. */
  void finish(SecretBytes& out);
  /** Processes a whole stream in constant memory, then restarts like finish(). */
  void convert(const ByteSource& from, const ByteSink& to);

 private:
  CipherContext context_;
};

}  // namespace velm::token

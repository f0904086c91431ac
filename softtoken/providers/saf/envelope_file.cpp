#include "softtoken/providers/saf/envelope_file.h"

#include "softtoken/crypto/envelope_writer.h"
#include "softtoken/crypto/symmetric_cipher.h"
#include "softtoken/providers/saf/saf_call.h"

namespace velm::token {

using namespace protocol;

namespace {

// Selects the CBC cipher of a method. The algorithm identifier implies the key length.
const EVP_CIPHER* method_cipher(uint32_t method) {
  const SymmetricAlgorithm algorithm = symmetric_algorithm(method);
  require_saf(algorithm.mode == CipherMode::cbc, kSafAlgorithm);
  switch (method & ~kCbc) {
    case kTripleDes:
    case kAes192:
      return symmetric_cipher(algorithm, 24);
    case kAes256:
      return symmetric_cipher(algorithm, 32);
    default:
      return symmetric_cipher(algorithm, 16);
  }
}

ByteSink writer_to(OutputFile& file) {
  return [&file](ByteView piece) { file.write(piece); };
}

// The local service does not distinguish these faults, so that saf_code_of() does not contain them.
uint32_t file_code_of(ErrorCode code) {
  switch (code) {
    case kDamaged:
      return kSafDamaged;
    case kWrongPadding:
      return kSafPadding;
    default:
      return saf_code_of(code);
  }
}

}  // namespace

void encode_envelope_file(const std::string& plain_path, X509* recipient, uint32_t method,
                          OutputFile& envelope) {
  InputFile plain(plain_path);
  const EVP_CIPHER* cipher = method_cipher(method);
  const uint64_t size = plain.size();
  // If the file changes its size meanwhile, the lengths already written are wrong.
  const auto next_piece = [&, left = size]() mutable {
    const ByteView piece = plain.read();
    require_saf(piece.empty() ? left == 0 : piece.size() <= left, kSafFileRead);
    left -= piece.size();
    return piece;
  };
  write_envelope(recipient, cipher, next_piece, size, writer_to(envelope));
}

void decode_envelope_file(const std::string& envelope_path, const ContentKeyFinder& find_key,
                          OutputFile& plain) {
  InputFile envelope(envelope_path);
  try {
    read_envelope([&] { return envelope.read(); }, envelope.size(), find_key, writer_to(plain));
  } catch (const TokenError& error) {
    throw SafError(file_code_of(error.code()));
  }
}

}  // namespace velm::token

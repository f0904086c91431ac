#include "provider_abi/velm_client_saf.h"
#include "softtoken/crypto/symmetric_cipher.h"
#include "softtoken/providers/saf/file_stream.h"
#include "softtoken/providers/saf/saf_call.h"

using namespace velm::token;

namespace {

// Closes the input on return, so that the output may replace it.
void convert(SymmetricOperation& operation, const std::string& input_path, OutputFile& output) {
  InputFile input(input_path);
  operation.convert([&] { return input.read(); }, [&](ByteView piece) { output.write(piece); });
}

uint32_t convert_file(SymmetricOperation::Direction direction, uint32_t identifier, const uint8_t* iv,
                      uint32_t iv_length, const uint8_t* key, uint32_t key_length, const char* input_path,
                      const char* output_path) {
  return saf_call([&] {
    const ByteView key_bytes = required_bytes(key, key_length);
    SymmetricOperation operation(symmetric_cipher(symmetric_algorithm(identifier), key_length), direction,
                                 key_bytes, input_bytes(iv, iv_length));
    OutputFile output(required_text(output_path));
    convert(operation, required_text(input_path), output);
    output.commit();
  });
}

}  // namespace

uint32_t SAF_Ext_SymmEncryptFile(uint32_t algorithm, const uint8_t* iv, uint32_t iv_length,
                                 const uint8_t* key, uint32_t key_length, const char* input_path,
                                 const char* output_path) {
  return convert_file(SymmetricOperation::Direction::encrypt, algorithm, iv, iv_length, key, key_length,
                      input_path, output_path);
}

uint32_t SAF_Ext_SymmDecryptFile(uint32_t algorithm, const uint8_t* iv, uint32_t iv_length,
                                 const uint8_t* key, uint32_t key_length, const char* input_path,
                                 const char* output_path) {
  return convert_file(SymmetricOperation::Direction::decrypt, algorithm, iv, iv_length, key, key_length,
                      input_path, output_path);
}

#include <algorithm>
#include <memory>

#include "provider_abi/velm_openssl_api.h"
#include "softtoken/crypto/symmetric_cipher.h"
#include "softtoken/providers/openssl_api/openssl_api_call.h"

using namespace velm::token;

namespace {

int32_t convert(SymmetricOperation::Direction direction, void* context, const uint8_t* input,
                uint32_t input_length, uint8_t* output, uint32_t* output_length) {
  return api_call([&] {
    auto* operation = static_cast<SymmetricOperation*>(context);
    if (operation == nullptr || (input == nullptr && input_length != 0) || output == nullptr ||
        output_length == nullptr || operation->direction() != direction) {
      return kApiBadInput;
    }
    SecretBytes converted;
    converted.reserve(size_t{input_length} + EVP_MAX_BLOCK_LENGTH);
    operation->update({input, input_length}, converted);
    operation->finish(converted);
    std::ranges::copy(converted, output);
    *output_length = static_cast<uint32_t>(converted.size());
    return kApiSuccess;
  });
}

}  // namespace

int32_t VELM_Openssl_SymmAcquireContext(void** context, uint32_t cipher, uint32_t direction,
                                        const uint8_t* key, uint32_t key_length, const uint8_t* iv,
                                        uint32_t mode) {
  return api_call([&] {
    if (context == nullptr || key == nullptr || direction > 1) return kApiBadInput;
    const EVP_CIPHER* wanted = symmetric_cipher(symmetric_algorithm(cipher, mode), key_length);
    const auto iv_length = iv == nullptr ? 0 : static_cast<size_t>(EVP_CIPHER_get_iv_length(wanted));
    *context =
        std::make_unique<SymmetricOperation>(wanted, static_cast<SymmetricOperation::Direction>(direction),
                                             ByteView(key, key_length), ByteView(iv, iv_length))
            .release();
    return kApiSuccess;
  });
}

int32_t VELM_Openssl_Encrypt(void* context, const uint8_t* input, uint32_t input_length, uint8_t* output,
                             uint32_t* output_length) {
  return convert(SymmetricOperation::Direction::encrypt, context, input, input_length, output, output_length);
}

int32_t VELM_Openssl_Decrypt(void* context, const uint8_t* input, uint32_t input_length, uint8_t* output,
                             uint32_t* output_length) {
  return convert(SymmetricOperation::Direction::decrypt, context, input, input_length, output, output_length);
}

// Requires no memory, so releasing a context succeeds even when memory is exhausted.
int32_t VELM_Openssl_SymmReleaseCtx(void* context) {
  if (context == nullptr) return kApiBadInput;
  const std::unique_ptr<SymmetricOperation> owner(static_cast<SymmetricOperation*>(context));
  return kApiSuccess;
}

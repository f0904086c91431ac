// scrypt with its minimum cost, for tests that try PINs thousands of times. The linker substitutes
// this for OpenSSL's function.
#include <openssl/evp.h>

extern "C" {

decltype(EVP_PBE_scrypt) __real_EVP_PBE_scrypt;

int __wrap_EVP_PBE_scrypt(const char* pass, size_t pass_size, const unsigned char* salt, size_t salt_size,
                          uint64_t, uint64_t, uint64_t, uint64_t memory, unsigned char* key,
                          size_t key_size) {
  return __real_EVP_PBE_scrypt(pass, pass_size, salt, salt_size, 2, 1, 1, memory, key, key_size);
}

}  // extern "C"

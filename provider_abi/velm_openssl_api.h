#pragma once

/**
 * @file velm_openssl_api.h
 * @brief The crypto module `velm_openssl_api.dll`: base64, certificate parsing and symmetric ciphers.
 *
 * Every function returns 0 on success, otherwise an error number defined by the module. Lengths are in bytes.
 */

#include <cstddef>
#include <cstdint>

#include "module_api.h"

/** @brief Output of VELM_Openssl_ParseCertInfo(). Callers must zero it before the call. */
struct CertificateRecord {
  uint8_t unknown_before_type[36];     /**< Not known. */
  uint32_t public_key_type;            /**< 1 RSA, 2 SM2. */
  uint8_t unknown_before_length[1132]; /**< Not known. */
  uint32_t public_key_length;          /**< Length of the DER public key: RSA-1024 140, RSA-2048 270. */
  uint8_t unknown_after_length[4832];  /**< Not known. */
};
static_assert(offsetof(CertificateRecord, public_key_type) == 36);
static_assert(offsetof(CertificateRecord, public_key_length) == 1172);
static_assert(sizeof(CertificateRecord) == 6008);

extern "C" {

/**
 * @brief Encodes bytes in base64.
 * @param[in] input Bytes to encode.
 * @param[in] input_length Length of input.
 * @param[out] output The text. Required size: 4 bytes for each 3 bytes of input or part of them (padded
 *   text), 2 bytes for each 48 bytes of input or part of them (line breaks), and 1 byte (terminating zero).
 * @param[out] output_length Length of the text without the terminating zero.
 * @return 0 on success.
 */
VELM_MODULE_API int32_t VELM_Openssl_Base64Encode(const uint8_t* input, uint32_t input_length,
                                                  uint8_t* output, uint32_t* output_length);

/**
 * @brief Decodes base64 text.
 * @param[in] input The text.
 * @param[in] input_length Length of input.
 * @param[out] output The bytes; input_length bytes are enough.
 * @param[out] output_length Number of bytes.
 * @return 0 on success.
 */
VELM_MODULE_API int32_t VELM_Openssl_Base64Decode(const uint8_t* input, uint32_t input_length,
                                                  uint8_t* output, uint32_t* output_length);

/**
 * @brief Parses a certificate.
 * @param[in] certificate DER certificate.
 * @param[in] length Length of certificate.
 * @param[in] mode What to parse: 1 for the type of the public key, 17 for its length too.
 * @param[in] reserved 0.
 * @param[out] record A CertificateRecord.
 * @return 0 on success.
 */
VELM_MODULE_API int32_t VELM_Openssl_ParseCertInfo(const uint8_t* certificate, uint32_t length, uint32_t mode,
                                                   uint32_t reserved, void* record);

/**
 * @brief Creates the context of one symmetric operation.
 * @param[out] context The context; callers must release it with VELM_Openssl_SymmReleaseCtx().
 * @param[in] cipher Cipher number: 108 SM4; 101 and 107 are other ciphers of the module.
 * @param[in] direction 1 to encrypt, 0 to decrypt.
 * @param[in] key The key.
 * @param[in] key_length Length of key.
 * @param[in] iv Initialisation vector, one cipher block; null if the mode requires none.
 * @param[in] mode 1 ECB, 2 CBC, 3 CFB, 4 OFB.
 * @return 0 on success.
 */
VELM_MODULE_API int32_t VELM_Openssl_SymmAcquireContext(void** context, uint32_t cipher, uint32_t direction,
                                                        const uint8_t* key, uint32_t key_length,
                                                        const uint8_t* iv, uint32_t mode);

/**
 * @brief Encrypts data with a context created for encryption.
 * @param[in] context The context.
 * @param[in] input Data to encrypt.
 * @param[in] input_length Length of input.
 * @param[out] output The ciphertext; input_length bytes and one cipher block are enough.
 * @param[in,out] output_length In: 0. Out: bytes written.
 * @return 0 on success.
 */
VELM_MODULE_API int32_t VELM_Openssl_Encrypt(void* context, const uint8_t* input, uint32_t input_length,
                                             uint8_t* output, uint32_t* output_length);

/**
 * @brief Decrypts data with a context created for decryption.
 * @param[in] context The context.
 * @param[in] input The ciphertext.
 * @param[in] input_length Length of input.
 * @param[out] output The data; input_length bytes and one cipher block are enough.
 * @param[in,out] output_length In: 0. Out: bytes written.
 * @return 0 on success.
 */
VELM_MODULE_API int32_t VELM_Openssl_Decrypt(void* context, const uint8_t* input, uint32_t input_length,
                                             uint8_t* output, uint32_t* output_length);

/**
 * @brief Releases a context.
 * @param[in] context The context; must not be used afterwards.
 * @return 0 on success.
 */
VELM_MODULE_API int32_t VELM_Openssl_SymmReleaseCtx(void* context);

}  // extern "C"

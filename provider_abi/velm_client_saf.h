#pragma once

/**
 * @file velm_client_saf.h
 * @brief The signature provider `velm_client_saf.dll`: the cryptographic service library of GM/T 0019.
 *
 * The functions named `SAF_...` follow GM/T 0019; those named `SAF_Ext_...` are extensions. Every function
 * returns 0 on success, otherwise a code of the 0x02000000 family. Lengths are in bytes and do not include a
 * terminating zero; texts without a length parameter are zero-terminated. Texts and paths are in the local
 * code page. Digest algorithms are those of GM/T 0006: 1 SM3, 2 SHA-1, 4 SHA-256.
 */

#include <cstdint>

#include "module_api.h"

extern "C" {

/**
 * @brief Opens the application handle.
 * @param[out] application The handle; callers must close it with SAF_Finalize().
 * @param[in] config_path Configuration file.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Initialize(void** application, const char* config_path);

/**
 * @brief Closes an application handle.
 * @param[in] application Application handle.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Finalize(void* application);

/**
 * @brief Encodes bytes in base64.
 * @param[in] input Bytes to encode.
 * @param[in] input_length Length of input.
 * @param[out] output The text, without a terminating zero; null for the size query.
 * @param[in,out] output_length In: size of output. Out: length of the text.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Base64_Encode(const uint8_t* input, uint32_t input_length, uint8_t* output,
                                           uint32_t* output_length);

/**
 * @brief Decodes base64 text.
 * @param[in] input The text.
 * @param[in] input_length Length of input.
 * @param[out] output The bytes; null for the size query.
 * @param[in,out] output_length In: size of output. Out: number of bytes.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Base64_Decode(const uint8_t* input, uint32_t input_length, uint8_t* output,
                                           uint32_t* output_length);

/**
 * @brief Hashes data. SM3 with a public key and a user ID includes the preprocessing of GM/T 0009.
 * @param[in] algorithm Digest algorithm.
 * @param[in] data Data to hash.
 * @param[in] data_length Length of data.
 * @param[in] public_key The signer's public key, or null.
 * @param[in] public_key_length Length of public_key, or 0.
 * @param[in] id User ID (GM/T 0009), or null.
 * @param[in] id_length Length of id, or 0.
 * @param[out] hash The hash value; null for the size query.
 * @param[in,out] hash_length In: size of hash. Out: length of the hash value.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Hash(uint32_t algorithm, const uint8_t* data, uint32_t data_length,
                                  const uint8_t* public_key, uint32_t public_key_length, const uint8_t* id,
                                  uint32_t id_length, uint8_t* hash, uint32_t* hash_length);

/**
 * @brief Hashes a file. The library passes the first five arguments unchanged from the application.
 * @param[in] first Pointer-sized.
 * @param[in] second Pointer-sized.
 * @param[in] third Pointer-sized.
 * @param[in] fourth Pointer-sized.
 * @param[in] fifth A 32-bit number.
 * @param[in] path File to hash.
 * @param[out] hash The hash value; null for the size query.
 * @param[in,out] hash_length In: size of hash. Out: length of the hash value.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_HashFile(const void* first, const void* second, const void* third,
                                          const void* fourth, uint32_t fifth, const char* path, uint8_t* hash,
                                          uint32_t* hash_length);

/**
 * @brief Reads one item of a certificate.
 * @param[in] application Application handle.
 * @param[in] certificate DER certificate.
 * @param[in] certificate_length Length of certificate.
 * @param[in] info_type Item to read; 8 is the public key.
 * @param[out] info The item; null for the size query.
 * @param[in,out] info_length In: size of info. Out: length of the item.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_GetCertificateInfo(void* application, const uint8_t* certificate,
                                                uint32_t certificate_length, uint32_t info_type,
                                                uint8_t* info, uint32_t* info_length);

/**
 * @brief Verifies a signature over data.
 * @param[in] digest Digest algorithm.
 * @param[in] certificate DER certificate.
 * @param[in] certificate_length Length of certificate.
 * @param[in] data Data that was signed.
 * @param[in] data_length Length of data.
 * @param[in] signature The signature.
 * @param[in] signature_length Length of signature.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_VerifySignByCert(uint32_t digest, const uint8_t* certificate,
                                              uint32_t certificate_length, const uint8_t* data,
                                              uint32_t data_length, const uint8_t* signature,
                                              uint32_t signature_length);

/**
 * @brief Verifies an elliptic-curve signature over a hash value.
 * @param[in] algorithm Signature algorithm of GM/T 0006; 0x00020200 is SM2.
 * @param[in] certificate DER certificate.
 * @param[in] certificate_length Length of certificate.
 * @param[in] hash Hash value that was signed.
 * @param[in] hash_length Length of hash.
 * @param[in] signature The signature.
 * @param[in] signature_length Length of signature.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_EccVerifySignByCert(uint32_t algorithm, const uint8_t* certificate,
                                                 uint32_t certificate_length, const uint8_t* hash,
                                                 uint32_t hash_length, const uint8_t* signature,
                                                 uint32_t signature_length);

/**
 * @brief Verifies a signature over a hash value.
 * @param[in] digest Digest algorithm of the hash value.
 * @param[in] certificate DER certificate.
 * @param[in] certificate_length Length of certificate.
 * @param[in] hash Hash value that was signed.
 * @param[in] hash_length Length of hash.
 * @param[in] signature The signature.
 * @param[in] signature_length Length of signature.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_VerifySignHashByCert(uint32_t digest, const uint8_t* certificate,
                                                      uint32_t certificate_length, const uint8_t* hash,
                                                      uint32_t hash_length, const uint8_t* signature,
                                                      uint32_t signature_length);

/**
 * @brief Signs a file.
 * @param[in] application Application handle.
 * @param[in] container Container name.
 * @param[in] container_length Length of container.
 * @param[in] digest Digest algorithm.
 * @param[in] id User ID (GM/T 0009) for SM3, otherwise null.
 * @param[in] id_length Length of id, or 0.
 * @param[in] path File to sign.
 * @param[out] signature The signature; null for the size query.
 * @param[in,out] signature_length In: size of signature. Out: length of the signature.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_SignFile(void* application, const char* container, uint32_t container_length,
                                          uint32_t digest, const uint8_t* id, uint32_t id_length,
                                          const char* path, uint8_t* signature, uint32_t* signature_length);

/**
 * @brief Verifies the signature of a file.
 * @param[in] digest Digest algorithm.
 * @param[in] certificate DER certificate.
 * @param[in] certificate_length Length of certificate.
 * @param[in] id User ID (GM/T 0009) for SM3, otherwise null.
 * @param[in] id_length Length of id, or 0.
 * @param[in] path File that was signed.
 * @param[in] signature The signature.
 * @param[in] signature_length Length of signature.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_VerifySignFileByCert(uint32_t digest, const uint8_t* certificate,
                                                      uint32_t certificate_length, const uint8_t* id,
                                                      uint32_t id_length, const char* path,
                                                      const uint8_t* signature, uint32_t signature_length);

/**
 * @brief Creates a PKCS#7 signed message with attached content.
 * @param[in] application Application handle.
 * @param[in] container Container name.
 * @param[in] container_length Length of container.
 * @param[in] key_usage Key to sign with; 2 is the signing key.
 * @param[in] certificate DER certificate.
 * @param[in] certificate_length Length of certificate.
 * @param[in] digest Digest algorithm.
 * @param[in] data Content.
 * @param[in] data_length Length of data.
 * @param[out] message The DER message; null for the size query.
 * @param[in,out] message_length In: size of message. Out: length of the message.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Pkcs7_EncodeSignedData(void* application, const char* container,
                                                    uint32_t container_length, uint32_t key_usage,
                                                    const uint8_t* certificate, uint32_t certificate_length,
                                                    uint32_t digest, const uint8_t* data,
                                                    uint32_t data_length, uint8_t* message,
                                                    uint32_t* message_length);

/**
 * @brief Decodes a PKCS#7 signed message. If a buffer is null, only its length is stored.
 * @param[in] application Application handle.
 * @param[in] message DER message.
 * @param[in] message_length Length of message.
 * @param[out] certificate The signer's DER certificate, or null.
 * @param[in,out] certificate_length In: size of certificate. Out: its length.
 * @param[out] digest Digest algorithm.
 * @param[out] data The content, or null.
 * @param[in,out] data_length In: size of data. Out: its length.
 * @param[out] signature The signature, or null.
 * @param[in,out] signature_length In: size of signature. Out: its length.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Pkcs7_DecodeSignedData(void* application, const uint8_t* message,
                                                    uint32_t message_length, uint8_t* certificate,
                                                    uint32_t* certificate_length, uint32_t* digest,
                                                    uint8_t* data, uint32_t* data_length, uint8_t* signature,
                                                    uint32_t* signature_length);

/**
 * @brief Creates an SM2 signed message (GM/T 0010) with attached content.
 * @param[in] application Application handle.
 * @param[in] container Container name.
 * @param[in] container_length Length of container.
 * @param[in] key_usage Key to sign with; 2 is the signing key.
 * @param[in] certificate DER certificate.
 * @param[in] certificate_length Length of certificate.
 * @param[in] digest Digest algorithm.
 * @param[in] data Content.
 * @param[in] data_length Length of data.
 * @param[out] message The DER message; null for the size query.
 * @param[in,out] message_length In: size of message. Out: length of the message.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_SM2_EncodeSignedData(void* application, const char* container,
                                                  uint32_t container_length, uint32_t key_usage,
                                                  const uint8_t* certificate, uint32_t certificate_length,
                                                  uint32_t digest, const uint8_t* data, uint32_t data_length,
                                                  uint8_t* message, uint32_t* message_length);

/**
 * @brief Decodes an SM2 signed message (GM/T 0010). If a buffer is null, only its length is stored.
 * @param[in] application Application handle.
 * @param[in] message DER message.
 * @param[in] message_length Length of message.
 * @param[out] certificate The signer's DER certificate, or null.
 * @param[in,out] certificate_length In: size of certificate. Out: its length.
 * @param[out] digest Digest algorithm.
 * @param[out] data The content, or null.
 * @param[in,out] data_length In: size of data. Out: its length.
 * @param[out] signature The signature, or null.
 * @param[in,out] signature_length In: size of signature. Out: its length.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_SM2_DecodeSignedData(void* application, const uint8_t* message,
                                                  uint32_t message_length, uint8_t* certificate,
                                                  uint32_t* certificate_length, uint32_t* digest,
                                                  uint8_t* data, uint32_t* data_length, uint8_t* signature,
                                                  uint32_t* signature_length);

/**
 * @brief Creates a PKCS#7 signed message over content or over a hash value.
 * @param[in] application Application handle.
 * @param[in] container Container name.
 * @param[in] container_length Length of container.
 * @param[in] key_usage Key to sign with; 2 is the signing key.
 * @param[in] certificate DER certificate.
 * @param[in] certificate_length Length of certificate.
 * @param[in] digest Digest algorithm.
 * @param[in] reserved Must be null.
 * @param[in] data_kind 1: data is the content. 2: data is a hash value.
 * @param[in] data Content or hash value.
 * @param[in] data_length Length of data.
 * @param[out] message The DER message; null for the size query.
 * @param[in,out] message_length In: size of message. Out: length of the message.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_Pkcs7_EncodeSignedData(void* application, const char* container,
                                                        uint32_t container_length, uint32_t key_usage,
                                                        const uint8_t* certificate,
                                                        uint32_t certificate_length, uint32_t digest,
                                                        const void* reserved, uint32_t data_kind,
                                                        const uint8_t* data, uint32_t data_length,
                                                        uint8_t* message, uint32_t* message_length);

/**
 * @brief Creates an SM2 signed message (GM/T 0010) over content.
 * @param[in] application Application handle.
 * @param[in] container Container name.
 * @param[in] container_length Length of container.
 * @param[in] key_usage Key to sign with; 2 is the signing key.
 * @param[in] certificate DER certificate.
 * @param[in] certificate_length Length of certificate.
 * @param[in] digest Digest algorithm.
 * @param[in] reserved Must be null.
 * @param[in] data_kind 1: data is the content.
 * @param[in] data Content.
 * @param[in] data_length Length of data.
 * @param[out] message The DER message; null for the size query.
 * @param[in,out] message_length In: size of message. Out: length of the message.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_SM2_EncodeSignedData(void* application, const char* container,
                                                      uint32_t container_length, uint32_t key_usage,
                                                      const uint8_t* certificate, uint32_t certificate_length,
                                                      uint32_t digest, const void* reserved,
                                                      uint32_t data_kind, const uint8_t* data,
                                                      uint32_t data_length, uint8_t* message,
                                                      uint32_t* message_length);

/**
 * @brief Reads the signed attributes of a signed message.
 * @param[in] application Application handle.
 * @param[in] message DER message.
 * @param[in] message_length Length of message.
 * @param[out] has_attributes 1 if the message has signed attributes.
 * @param[out] digest Digest algorithm of the message digest attribute.
 * @param[out] attributes The signed attributes as they were signed.
 * @param[in,out] attributes_length In: size of attributes. Out: bytes written.
 * @param[out] hash The message digest attribute.
 * @param[in,out] hash_length In: size of hash. Out: bytes written.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_Pkcs7_ReadContentData(void* application, const uint8_t* message,
                                                       uint32_t message_length, uint32_t* has_attributes,
                                                       uint32_t* digest, uint8_t* attributes,
                                                       uint32_t* attributes_length, uint8_t* hash,
                                                       uint32_t* hash_length);

/**
 * @brief Rewrites the object identifiers of an SM2 signed message.
 * @param[in] mode What to rewrite; the module defines the values.
 * @param[in] input DER message.
 * @param[in] input_length Length of input.
 * @param[out] output The rewritten message.
 * @param[in,out] output_length In: size of output. Out: bytes written.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_ReplaceSM2Pkcs7SignedOID(uint32_t mode, const uint8_t* input,
                                                          uint32_t input_length, uint8_t* output,
                                                          uint32_t* output_length);

/**
 * @brief Verifies signed XML.
 * @param[in] application Application handle.
 * @param[in] flags 0.
 * @param[in] xml Signed XML.
 * @param[in] xml_length Length of xml.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_XMLVerify(void* application, uint32_t flags, const uint8_t* xml,
                                           uint32_t xml_length);

/**
 * @brief Splits signed XML into six items. If a buffer is null, only its length is stored. Other buffers must
 *   have at least that size: the input values of the lengths are ignored.
 * @param[in] application Application handle.
 * @param[in] flags 0.
 * @param[in] xml Signed XML.
 * @param[in] xml_length Length of xml.
 * @param[out] item1 The signed data, or null.
 * @param[out] item1_length Length of the signed data.
 * @param[out] item2 Digest value, or null.
 * @param[out] item2_length Length of the digest value.
 * @param[out] item3 Signature value, or null.
 * @param[out] item3_length Length of the signature value.
 * @param[out] item4 The signer's certificate, or null.
 * @param[out] item4_length Length of the certificate.
 * @param[out] item5 Digest algorithm, or null.
 * @param[out] item5_length Length of the digest algorithm.
 * @param[out] item6 Signature algorithm, or null.
 * @param[out] item6_length Length of the signature algorithm.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_XMLParse(void* application, uint32_t flags, const uint8_t* xml,
                                          uint32_t xml_length, uint8_t* item1, uint32_t* item1_length,
                                          uint8_t* item2, uint32_t* item2_length, uint8_t* item3,
                                          uint32_t* item3_length, uint8_t* item4, uint32_t* item4_length,
                                          uint8_t* item5, uint32_t* item5_length, uint8_t* item6,
                                          uint32_t* item6_length);

/**
 * @brief Encrypts a file into a digital envelope (CMS EnvelopedData).
 * @param[in] application Application handle.
 * @param[in] input_path File to encrypt.
 * @param[in] input_path_length Length of input_path.
 * @param[in] certificate DER certificate.
 * @param[in] certificate_length Length of certificate.
 * @param[in] method Symmetric algorithm of GM/T 0006.
 * @param[in] flags 1.
 * @param[in] output_path File to write.
 * @param[in] output_path_length Length of output_path.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_EncodeEnvelopedFile(void* application, const char* input_path,
                                                     uint32_t input_path_length, const uint8_t* certificate,
                                                     uint32_t certificate_length, uint32_t method,
                                                     uint32_t flags, const char* output_path,
                                                     uint32_t output_path_length);

/**
 * @brief Decrypts the digital envelope of a file.
 * @param[in] application Application handle.
 * @param[in] container Container name.
 * @param[in] container_length Length of container.
 * @param[in] first_flags 1.
 * @param[in] second_flags 1.
 * @param[in] input_path File with the digital envelope.
 * @param[in] input_path_length Length of input_path.
 * @param[in] output_path File to write.
 * @param[in] output_path_length Length of output_path.
 * @return 0 on success; 0x0200050A for a digital envelope that must be decrypted with
 *   SAF_Ext_CMS_DecodeEnvelopedData(); otherwise another result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_DecodeEnvelopedFile(void* application, const char* container,
                                                     uint32_t container_length, uint32_t first_flags,
                                                     uint32_t second_flags, const char* input_path,
                                                     uint32_t input_path_length, const char* output_path,
                                                     uint32_t output_path_length);

/**
 * @brief Decrypts a digital envelope (CMS EnvelopedData) in memory.
 * @param[in] application Application handle.
 * @param[in] container Container name.
 * @param[in] container_length Length of container.
 * @param[in] input The digital envelope.
 * @param[in] input_length Length of input.
 * @param[out] output The data.
 * @param[in,out] output_length In: size of output. Out: bytes written.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_CMS_DecodeEnvelopedData(void* application, const char* container,
                                                         uint32_t container_length, const uint8_t* input,
                                                         uint32_t input_length, uint8_t* output,
                                                         uint32_t* output_length);

/**
 * @brief Encrypts a file with a symmetric key.
 * @param[in] algorithm Algorithm identifier of GM/T 0006.
 * @param[in] iv Initialisation vector.
 * @param[in] iv_length Length of iv.
 * @param[in] key The key.
 * @param[in] key_length Length of key.
 * @param[in] input_path File to read.
 * @param[in] output_path File to write.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_SymmEncryptFile(uint32_t algorithm, const uint8_t* iv, uint32_t iv_length,
                                                 const uint8_t* key, uint32_t key_length,
                                                 const char* input_path, const char* output_path);

/**
 * @brief Decrypts a file with a symmetric key.
 * @param[in] algorithm Algorithm identifier of GM/T 0006.
 * @param[in] iv Initialisation vector.
 * @param[in] iv_length Length of iv.
 * @param[in] key The key.
 * @param[in] key_length Length of key.
 * @param[in] input_path File to read.
 * @param[in] output_path File to write.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_SymmDecryptFile(uint32_t algorithm, const uint8_t* iv, uint32_t iv_length,
                                                 const uint8_t* key, uint32_t key_length,
                                                 const char* input_path, const char* output_path);

/**
 * @brief Reads the time of the time-stamp authority (TSA).
 * @param[out] time The time; null for the size query.
 * @param[in,out] time_length In: size of time. Out: bytes written or required.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_TspGetTime(uint8_t* time, uint32_t* time_length);

/**
 * @brief Fetches a time-stamp token (RFC 3161) for data.
 * @param[in] application Application handle.
 * @param[in] container Container name.
 * @param[in] container_length Length of container.
 * @param[in] data Data to time-stamp.
 * @param[in] data_length Length of data.
 * @param[out] stamp The time-stamp token; null for the size query.
 * @param[in,out] stamp_length In: size of stamp. Out: bytes written or required.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_TspGetStamp(void* application, const char* container,
                                             uint32_t container_length, const uint8_t* data,
                                             uint32_t data_length, uint8_t* stamp, uint32_t* stamp_length);

/**
 * @brief Verifies a time-stamp token (RFC 3161) for data.
 * @param[in] data Data that was time-stamped.
 * @param[in] data_length Length of data.
 * @param[in] stamp The time-stamp token.
 * @param[in] stamp_length Length of stamp.
 * @param[in] certificate Certificate of the TSA.
 * @param[in] certificate_length Length of certificate.
 * @param[out] time_info The time in the token; null for the size query.
 * @param[in,out] time_info_length In: size of time_info. Out: bytes written or required.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_TspVerifyStamp(const uint8_t* data, uint32_t data_length,
                                                const uint8_t* stamp, uint32_t stamp_length,
                                                const uint8_t* certificate, uint32_t certificate_length,
                                                uint8_t* time_info, uint32_t* time_info_length);

/**
 * @brief Fetches a time-stamp token (RFC 3161) for a file.
 * @param[in] application Application handle.
 * @param[in] container Container name.
 * @param[in] container_length Length of container.
 * @param[in] file The file, as passed by the application.
 * @param[in] file_length Length of file.
 * @param[out] stamp The time-stamp token; null for the size query.
 * @param[in,out] stamp_length In: size of stamp. Out: bytes written or required.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_TspGetFileStamp(void* application, const char* container,
                                                 uint32_t container_length, const uint8_t* file,
                                                 uint32_t file_length, uint8_t* stamp,
                                                 uint32_t* stamp_length);

/**
 * @brief Verifies a time-stamp token (RFC 3161) for a file.
 * @param[in] file The file, as passed by the application.
 * @param[in] file_length Length of file.
 * @param[in] stamp The time-stamp token.
 * @param[in] stamp_length Length of stamp.
 * @param[in] certificate Certificate of the TSA.
 * @param[in] certificate_length Length of certificate.
 * @param[out] time_info The time in the token; null for the size query.
 * @param[in,out] time_info_length In: size of time_info. Out: bytes written or required.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_TspVerifyFileStamp(const uint8_t* file, uint32_t file_length,
                                                    const uint8_t* stamp, uint32_t stamp_length,
                                                    const uint8_t* certificate, uint32_t certificate_length,
                                                    uint8_t* time_info, uint32_t* time_info_length);

/**
 * @brief Reads the time of the time-stamp authority (TSA).
 * @param[in] application Application handle.
 * @param[out] time The time; null for the size query.
 * @param[in,out] time_length In: size of time. Out: bytes written or required.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_GM_Tsp_GetTime(void* application, uint8_t* time, uint32_t* time_length);

/**
 * @brief Fetches a time-stamp token (RFC 3161) for data.
 * @param[in] application Application handle.
 * @param[in] selector Digest algorithm of the time-stamp token (GM/T 0006); with 0 the module selects it.
 * @param[in] data Data to time-stamp.
 * @param[in] data_length Length of data.
 * @param[out] stamp The time-stamp token; null for the size query.
 * @param[in,out] stamp_length In: size of stamp. Out: bytes written or required.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_GM_Tsp_SealTimeStamp(void* application, uint32_t selector,
                                                      const uint8_t* data, uint32_t data_length,
                                                      uint8_t* stamp, uint32_t* stamp_length);

/**
 * @brief Verifies a time-stamp token (RFC 3161) for data.
 * @param[in] application Application handle.
 * @param[in] data Data that was time-stamped.
 * @param[in] data_length Length of data.
 * @param[in] stamp The time-stamp token.
 * @param[in] stamp_length Length of stamp.
 * @param[in] certificate Certificate of the TSA.
 * @param[in] certificate_length Length of certificate.
 * @param[out] time_info The time in the token; null for the size query.
 * @param[in,out] time_info_length In: size of time_info. Out: bytes written or required.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_GM_Tsp_VerifyTimeStamp(void* application, const uint8_t* data,
                                                        uint32_t data_length, const uint8_t* stamp,
                                                        uint32_t stamp_length, const uint8_t* certificate,
                                                        uint32_t certificate_length, uint8_t* time_info,
                                                        uint32_t* time_info_length);

/**
 * @brief Lists the files of a container's application.
 * @param[in] application Application handle.
 * @param[in] container Container name.
 * @param[out] names The names; null for the size query.
 * @param[in,out] names_length In: size of names. Out: bytes written or required.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_EnumFile(void* application, const char* container, char* names,
                                          uint32_t* names_length);

/**
 * @brief Creates a file on the device.
 * @param[in] application Application handle.
 * @param[in] container Container name.
 * @param[in] file_name Name of the file.
 * @param[in] size Size of the file.
 * @param[in] read_rights Read rights; the device defines the values.
 * @param[in] write_rights Write rights; the device defines the values.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_CreateFile(void* application, const char* container, const char* file_name,
                                            uint32_t size, uint32_t read_rights, uint32_t write_rights);

/**
 * @brief Deletes a file on the device.
 * @param[in] application Application handle.
 * @param[in] container Container name.
 * @param[in] file_name Name of the file.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_DeleteFile(void* application, const char* container, const char* file_name);

/**
 * @brief Reads from a file on the device.
 * @param[in] application Application handle.
 * @param[in] container Container name.
 * @param[in] file_name Name of the file.
 * @param[in] offset Offset of the first byte.
 * @param[in] read_length Number of bytes to read.
 * @param[out] data The bytes; null for the size query.
 * @param[in,out] data_length In: size of data. Out: bytes written or required.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_ReadFile(void* application, const char* container, const char* file_name,
                                          uint32_t offset, uint32_t read_length, uint8_t* data,
                                          uint32_t* data_length);

/**
 * @brief Writes to a file on the device.
 * @param[in] application Application handle.
 * @param[in] container Container name.
 * @param[in] file_name Name of the file.
 * @param[in] offset Offset of the first byte.
 * @param[in] data Data to write.
 * @param[in] data_length Length of data.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_WriteFile(void* application, const char* container, const char* file_name,
                                           uint32_t offset, const uint8_t* data, uint32_t data_length);

/**
 * @brief Reads the attributes of a file on the device.
 * @param[in] application Application handle.
 * @param[in] container Container name.
 * @param[in] file_name Name of the file.
 * @param[out] size Size of the file.
 * @param[out] read_rights Read rights; the device defines the values.
 * @param[out] write_rights Write rights; the device defines the values.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_GetFileAttribute(void* application, const char* container,
                                                  const char* file_name, uint32_t* size,
                                                  uint32_t* read_rights, uint32_t* write_rights);

/**
 * @brief Sends a control command to the device.
 * @param[in] application Application handle.
 * @param[in] container Container name.
 * @param[in] container_length Length of container.
 * @param[in] control Name of the control.
 * @param[in] control_length Length of control.
 * @param[in] command Command of the control.
 * @param[in] command_length Length of command.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_Control(void* application, const char* container, uint32_t container_length,
                                         const char* control, uint32_t control_length, const char* command,
                                         uint32_t command_length);

/**
 * @brief Lists the devices.
 * @param[in] application Application handle.
 * @param[out] devices The list; null for the size query.
 * @param[in,out] devices_length In: size of devices. Out: bytes written or required.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_EnumDevice(void* application, uint8_t* devices, uint32_t* devices_length);

/**
 * @brief Reads a label from the device.
 * @param[in] application Application handle.
 * @param[in] container Container name.
 * @param[in] container_length Length of container.
 * @param[in] label Name of the label.
 * @param[in] label_length Length of label.
 * @param[in] label_type Type of the label; 7 is a cached certificate.
 * @param[out] data Content of the label; null for the size query.
 * @param[in,out] data_length In: size of data. Out: bytes written or required.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_ReadLabel(void* application, const char* container,
                                           uint32_t container_length, const char* label,
                                           uint32_t label_length, uint32_t label_type, uint8_t* data,
                                           uint32_t* data_length);

/**
 * @brief Returns the product version. The library passes the first and the fourth argument unchanged from the
 *   application.
 * @param[in,out] first Pointer-sized.
 * @param[out] version The version text with its terminating zero.
 * @param[in] version_size Size of version, at least 256.
 * @param[in,out] fourth Pointer-sized.
 * @return 0 on success, otherwise a result code.
 */
VELM_MODULE_API uint32_t SAF_Ext_GetProductVersion(void* first, char* version, uint32_t version_size,
                                                   void* fourth);

}  // extern "C"

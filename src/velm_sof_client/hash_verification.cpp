// Verifies signatures against a hash value supplied by the caller.
#include "velm_sof_client/algorithm.h"
#include "velm_sof_client/provider_call.h"
#include "velm_sof_client/signed_message.h"

using namespace velm;

uint32_t SOF_Ext_VerifySignedMessage(const uint8_t* pMessageData, uint32_t uMessageDataLen,
                                     const uint8_t* pHashedData, uint32_t uiHashedDataLen) {
  return exported_call([&] {
    require_pointer(pMessageData, "pMessageData");
    LOG_ENTRY("SOF_Ext_VerifySignedMessage uMessageDataLen=%u uiHashedDataLen=%u\n", uMessageDataLen,
              uiHashedDataLen);

    const ByteView message{pMessageData, uMessageDataLen};
    const SignedAttributes attributes = read_signed_attributes(message);

    SignedDataSizes sizes = size_with_either_decoder(message);
    if (sizes.signature < kShortestRsaSignature) return;  // Sic: SM2 messages are not verified

    require_sized(pkcs7_decoder(), message, sizes);
    SignedData parts{.digest = sizes.digest, .content = {.stated_length = sizes.content}};
    // Sic: the log lines name SOF_VerifySignedMessage, without "Ext_".
    parts.certificate = sized_buffer("SOF_VerifySignedMessage", "uSignCertLen", sizes.certificate);
    parts.signature = sized_buffer("SOF_VerifySignedMessage", "uSignDataLen", sizes.signature);
    require_decoded(pkcs7_decoder(), message, parts);

    if (attributes.present()) {
      // Sic: the message digest attribute is compared with 128 zero bytes, not with the caller's hash.
      require_attribute_hash(attributes, FixedBuffer<128>{});
      return;
    }
    const ByteView certificate = parts.certificate.content(), signature = parts.signature.content();
    check_provider(
        "SAF_Ext_VerifySignHashByCert",
        SAF_Ext_VerifySignHashByCert(parts.digest, certificate.data, certificate.length, pHashedData,
                                     pHashedData ? uiHashedDataLen : 0, signature.data, signature.length));
  });
}

uint32_t SOF_Ext_VerifySignedHash(const uint8_t* pSignCert, uint32_t uSignCertLen, const uint8_t* pHashedData,
                                  uint32_t uiHashedDataLen, const uint8_t* pSignedData,
                                  uint32_t uSignedDataLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_Ext_VerifySignedHash uSignCertLen=%u uiHashedDataLen=%u uSignedDataLen=%u\n", uSignCertLen,
              uiHashedDataLen, uSignedDataLen);
    require_pointer(pSignCert, "pSignCert");
    require_pointer(pHashedData, "pHashedData");
    require_pointer(pSignedData, "pSignedData");

    const CertificateRecord record =
        parse_certificate("SOF_Ext_VerifySignedHash", {pSignCert, uSignCertLen}, kKeyType);
    if (record.public_key_type == kRsaKey) {
      const uint32_t digest = digest_of_hash_length(uiHashedDataLen);
      if (digest == kNoDigest) {
        LOG_FAILURE("SOF_Ext_VerifySignedHash, unsupport hash len: %u \n", uiHashedDataLen);
        fail(SOR_NOTSUPPORTYETERR);
      }
      check_provider("SAF_Ext_VerifySignHashByCert",
                     SAF_Ext_VerifySignHashByCert(digest, pSignCert, uSignCertLen, pHashedData,
                                                  uiHashedDataLen, pSignedData, uSignedDataLen));
      return;
    }

    read_public_key({pSignCert, uSignCertLen});  // fails if the certificate has no public key
    check_provider("SAF_EccVerifySignByCert",
                   SAF_EccVerifySignByCert(kSm2Signature, pSignCert, uSignCertLen, pHashedData,
                                           uiHashedDataLen, pSignedData, uSignedDataLen));
  });
}

uint32_t SOF_Ext_ReplaceSM2Pkcs7SignedOID(uint32_t mode, const uint8_t* input, uint32_t inputLen,
                                          uint8_t* output, uint32_t* outputLen) {
  return exported_call([&] {
    require_pointer(input, "input");
    require_pointer(output, "output");
    require_pointer(outputLen, "outputLen");
    // Sic: the log line names the exported function, not SAF_Ext_ReplaceSM2Pkcs7SignedOID.
    check_provider("SOF_Ext_ReplaceSM2Pkcs7SignedOID",
                   SAF_Ext_ReplaceSM2Pkcs7SignedOID(mode, input, inputLen, output, outputLen));
  });
}

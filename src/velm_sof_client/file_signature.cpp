// Raw signatures of files, created and verified by the signature provider. The provider opens the file.
#include <cstring>

#include "velm_sof_client/algorithm.h"
#include "velm_sof_client/provider_call.h"

using namespace velm;

namespace {

// The first of these texts that the container name contains selects the digest.
constexpr struct {
  const char* text;
  uint32_t digest;
} kDigestMarkers[] = {{"RSA_1024", kSha1}, {"RSA_2048", kSha256}, {"SCAN_", kSha256}, {"SM2", kSm3}};

uint32_t digest_of_container(const char* container) {
  for (const auto& marker : kDigestMarkers) {
    if (std::strstr(container, marker.text)) return marker.digest;
  }
  return kNoDigest;
}

uint32_t digest_of_signature_length(uint32_t length) {
  if (length < kShortestRsaSignature) return kSm3;
  if (length == 128) return kSha1;
  if (length == 256) return kSha256;
  return kNoDigest;
}

// User ID (GM/T 0009) for SM3; null for other digests. The buffer has 128 bytes because providers may read or
// write more than the 16 bytes of the default ID.
class UserIdBuffer {
 public:
  explicit UserIdBuffer(uint32_t digest) {
    if (digest != kSm3) return;
    const ByteView id = default_user_id();
    std::memcpy(bytes_, id.data, id.length);
    length_ = id.length;
  }

  uint8_t* data() { return length_ != 0 ? bytes_ : nullptr; }
  uint32_t length() const { return length_; }

 private:
  uint8_t bytes_[128]{};
  uint32_t length_ = 0;
};

}  // namespace

uint32_t SOF_SignFile(const char* pszContainerName, const char* pszInFilePath, uint8_t* pSignedData,
                      uint32_t* pSignedDataLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_SignFile [%s] pszInFilePath=[%s]\n", or_upper_null(pszContainerName),
              or_upper_null(pszInFilePath));
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(pszInFilePath, "pszInFilePath");
    require_pointer(pSignedDataLen, "pSignedDataLen");

    SI_Initialize();

    const uint32_t digest = digest_of_container(pszContainerName);
    if (digest == kNoDigest) {
      LOG_FAILURE("ContainerName error: sContainerName=%s\n", pszContainerName);
      return;  // Sic: success although nothing was signed
    }
    UserIdBuffer id{digest};
    check_provider(
        "SAF_Ext_SignFile",
        SAF_Ext_SignFile(g_hAppHandle.load(), pszContainerName, text_length(pszContainerName), digest,
                         id.data(), id.length(), pszInFilePath, pSignedData, pSignedDataLen));
  });
}

uint32_t SOF_VerifySignedFile(const uint8_t* pSignCert, uint32_t uSignCertLen, const char* pszInFilePath,
                              const uint8_t* pSignedData, uint32_t uSignedDataLen) {
  return exported_call([&] {
    LOG_ENTRY("SOF_VerifySignedFile uSignCertLen=%u pszInFilePath=[%s] uSignedDataLen=%u\n", uSignCertLen,
              or_upper_null(pszInFilePath), uSignedDataLen);
    require_pointer(pSignCert, "pSignCert");
    require_pointer(pszInFilePath, "pszInFilePath");
    require_pointer(pSignedData, "pSignedData");

    const uint32_t digest = digest_of_signature_length(uSignedDataLen);
    if (digest == kNoDigest) {
      LOG_FAILURE("SOF_VerifySignedFile:unsupport signature length: %u\n", uSignedDataLen);
      fail(SOR_INDATALENERR);
    }
    UserIdBuffer id{digest};
    check_provider("SAF_Ext_VerifySignFileByCert",
                   SAF_Ext_VerifySignFileByCert(digest, pSignCert, uSignCertLen, id.data(), id.length(),
                                                pszInFilePath, pSignedData, uSignedDataLen));
  });
}

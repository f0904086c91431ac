// Creates signed messages over whole files: PKCS#7 with an RSA key, GM/T 0010 with an SM2 key.
#include <windows.h>

#include <cstring>

#include "velm_sof_client/algorithm.h"
#include "velm_sof_client/input_file.h"
#include "velm_sof_client/process_state.h"
#include "velm_sof_client/provider_call.h"

using namespace velm;

namespace {

constexpr char kFunction[] = "SOF_Ext_PKCS7_SignFile";

// Arguments common to all encoders.
struct EncoderArguments {
  const char* container;
  ByteView certificate;
  ByteView data;
  uint8_t* message;
  uint32_t* message_length;
};

using protocol::kSigningKey;
enum DataKind : uint32_t { kContent = protocol::kContentData, kHashValue = protocol::kHashData };

FileContent base64_decoded(const FileContent& text) {
  uint32_t length = 0;
  check_provider("SAF_Base64_Decode NULL for out length",
                 SAF_Base64_Decode(text.data(), text.length, nullptr, &length));
  ProviderBuffer decoded = sized_buffer(kFunction, "uInDataBase64DecodedLen", length);
  check_provider("SAF_Base64_Decode",
                 SAF_Base64_Decode(text.data(), text.length, decoded.data(), &decoded.stated_length));
  const uint32_t decoded_length = decoded.content().length;
  return {std::move(decoded.bytes), decoded_length};
}

// Returns the content of the file. Sic: if process_state.file_is_base64 is set, the file is base64 text
// and is decoded.
FileContent data_to_sign(const char* path) {
  FileContent file = read_whole_file(local_path(path, kFunction), kFunction);
  if (process_state.file_is_base64 && file.length != 0) return base64_decoded(file);
  return file;
}

FixedBuffer<kUserCertificateCapacity> signer_certificate(const char* container) {
  FixedBuffer<kUserCertificateCapacity> certificate;
  if (std::strstr(container, "SCAN_CONTAINER")) {
    const uint32_t result = SI_ExportCertForScan(container, certificate.bytes, certificate.stated_length);
    if (result != 0) {
      LOG_FAILURE("%s, SI_ExportCertForScan, sof_rv = 0x%08X \n", kFunction, result);
      fail(result);
    }
    return certificate;
  }
  const uint32_t result = SI_ExportUserCert(container, certificate.bytes, certificate.stated_length);
  if (result != 0) {
    LOG_FAILURE("%s->SI_ExportUserCert\n", kFunction);
    fail(result);
  }
  return certificate;
}

// Sic: SHA-1 is required on version 5.1 with service pack 2 only. No supported Windows reports that version.
bool is_windows_without_sha256() {
  OSVERSIONINFOEXW version{};
  version.dwOSVersionInfoSize = sizeof version;
  if (!GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version))) {
    LOG_FAILURE("%s, GetVersionEx, 0x%08X \n", kFunction, static_cast<unsigned>(GetLastError()));
    return false;
  }
  return version.dwMajorVersion == 5 && version.dwMinorVersion == 1 && version.wServicePackMajor == 2;
}

uint32_t rsa_digest(const CertificateRecord& record, const char* container) {
  constexpr uint32_t kRsa1024KeyLength = 140;
  if (std::strstr(container, "PFX_") && is_windows_without_sha256()) return kSha1;
  return record.public_key_length == kRsa1024KeyLength ? kSha1 : kSha256;
}

uint32_t rsa_hash_digest(uint32_t hash_length) {
  const uint32_t digest = digest_of_hash_length(hash_length);
  if (digest == kNoDigest) {
    LOG_FAILURE("not support hash length %u \n", hash_length);
    fail(SOR_NOTSUPPORTYETERR);
  }
  return digest;
}

[[noreturn]] void refuse_flag(uint32_t flag) {
  LOG_FAILURE("not support flag %d \n", static_cast<int>(flag));
  fail(SOR_NOTSUPPORTYETERR);
}

void encode(const char* name, decltype(&SAF_Pkcs7_EncodeSignedData) encoder, const EncoderArguments& signing,
            uint32_t digest) {
  check_provider(name,
                 encoder(g_hAppHandle.load(), signing.container, text_length(signing.container), kSigningKey,
                         signing.certificate.data, signing.certificate.length, digest, signing.data.data,
                         signing.data.length, signing.message, signing.message_length));
}

void encode_extended(const char* name, decltype(&SAF_Ext_Pkcs7_EncodeSignedData) encoder,
                     const EncoderArguments& signing, uint32_t digest, DataKind kind) {
  check_provider(name,
                 encoder(g_hAppHandle.load(), signing.container, text_length(signing.container), kSigningKey,
                         signing.certificate.data, signing.certificate.length, digest, nullptr, kind,
                         signing.data.data, signing.data.length, signing.message, signing.message_length));
}

void sign_with_rsa(uint32_t flag, const EncoderArguments& signing, uint32_t digest) {
  switch (flag) {
    case 0:
      return encode("SAF_Pkcs7_EncodeSignedData", SAF_Pkcs7_EncodeSignedData, signing, digest);
    case 1:
      return encode_extended("SAF_Ext_Pkcs7_EncodeSignedData", SAF_Ext_Pkcs7_EncodeSignedData, signing,
                             digest, kContent);
    case 2:
      return encode_extended("SAF_Ext_Pkcs7_EncodeSignedData", SAF_Ext_Pkcs7_EncodeSignedData, signing,
                             rsa_hash_digest(signing.data.length), kHashValue);
    default:
      refuse_flag(flag);
  }
}

void sign_with_sm2(uint32_t flag, const EncoderArguments& signing) {
  switch (flag) {
    case 0:
      return encode("SAF_SM2_EncodeSignedData", SAF_SM2_EncodeSignedData, signing, kSm3);
    case 1:
      return encode_extended("SAF_Ext_SM2_EncodeSignedData", SAF_Ext_SM2_EncodeSignedData, signing, kSm3,
                             kContent);
    default:
      refuse_flag(flag);
  }
}

}  // namespace

uint32_t SOF_Ext_PKCS7_SignFile(uint32_t flag, const char* pszContainerName, const char* pszInFilePath,
                                uint8_t* pOutData, uint32_t* pOutDataLen) {
  return exported_call([&] {
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(pszInFilePath, "pszInFilePath");
    require_pointer(pOutDataLen, "pOutDataLen");

    SI_Initialize();
    const FileContent data = data_to_sign(pszInFilePath);
    const auto certificate = signer_certificate(pszContainerName);
    const CertificateRecord record = parse_certificate(kFunction, certificate.content(), kKeyTypeAndLength);

    const EncoderArguments signing{
        pszContainerName, certificate.content(), {data.data(), data.length}, pOutData, pOutDataLen};
    if (record.public_key_type == kRsaKey) {
      sign_with_rsa(flag, signing, rsa_digest(record, pszContainerName));
    } else {
      sign_with_sm2(flag, signing);
    }
  });
}

// Identifiers of algorithms, keys and labels in requests and in calls to the provider modules.
#pragma once

#include <cstdint>
#include <string_view>

namespace velm::protocol {

// Digest algorithms (GM/T 0006).
constexpr uint32_t kSm3 = 1;
constexpr uint32_t kSha1 = 2;
constexpr uint32_t kSha256 = 4;

// SM2 signature algorithm (GM/T 0006).
constexpr uint32_t kSm2Signature = 0x00020200;

// Default user ID (GM/T 0009).
inline constexpr std::string_view kDefaultUserId = "1234567812345678";

// Symmetric algorithms (GM/T 0006): bits 8 to 19 select the cipher, bits 0 to 7 the mode.
constexpr uint32_t kSm4 = 0x00400;
constexpr uint32_t kTripleDes = 0x02000;
constexpr uint32_t kAes128 = 0x04000;
constexpr uint32_t kAes192 = 0x08000;
constexpr uint32_t kAes256 = 0x10000;
constexpr uint32_t kEcb = 1;
constexpr uint32_t kCbc = 2;
constexpr uint32_t kCfb = 4;
constexpr uint32_t kOfb = 8;
constexpr uint32_t kSm4Cbc = kSm4 | kCbc;
constexpr uint32_t kTripleDesCbc = kTripleDes | kCbc;

// Cipher and mode numbers of the crypto module (velm_openssl_api.dll). AES has one number; the length of the
// key selects the variant.
enum class Cipher : uint32_t { unknown = 0, triple_des = 101, aes = 107, sm4 = 108 };
enum class CipherMode : uint32_t { unknown = 0, ecb = 1, cbc = 2, cfb = 3, ofb = 4 };

// Bits above the cipher are ignored.
constexpr Cipher cipher_of(uint32_t algorithm) {
  switch (algorithm & 0xFFF00) {
    case kSm4:
      return Cipher::sm4;
    case kTripleDes:
      return Cipher::triple_des;
    case kAes128:
    case kAes192:
    case kAes256:
      return Cipher::aes;
    default:
      return Cipher::unknown;
  }
}

constexpr CipherMode mode_of(uint32_t algorithm) {
  switch (algorithm & 0xFF) {
    case kEcb:
      return CipherMode::ecb;
    case kCbc:
      return CipherMode::cbc;
    case kCfb:
      return CipherMode::cfb;
    case kOfb:
      return CipherMode::ofb;
    default:
      return CipherMode::unknown;
  }
}

constexpr uint32_t number_of(Cipher cipher) { return static_cast<uint32_t>(cipher); }
constexpr uint32_t number_of(CipherMode mode) { return static_cast<uint32_t>(mode); }

// Public key types reported by the crypto module.
constexpr uint32_t kRsaKey = 1;
constexpr uint32_t kSm2Key = 2;

// Key pairs of a container. A GM container holds two: one for encryption ("exchange"), one for signing.
constexpr uint32_t kEncryptionKey = 1;
constexpr uint32_t kSigningKey = 2;

// Input of a signature: the content, or its hash value.
constexpr uint32_t kContentData = 1;
constexpr uint32_t kHashData = 2;

// Type of labels that contain a certificate.
constexpr uint32_t kCertificateLabel = 7;
// Labels of this type with the certificates of the local service's time-stamp authority (TSA).
inline constexpr char kTimeStampAuthorityLabel[] = "TIME_STAMP_AUTHORITY";
inline constexpr char kSm2TimeStampAuthorityLabel[] = "TIME_STAMP_AUTHORITY_SM2";

}  // namespace velm::protocol

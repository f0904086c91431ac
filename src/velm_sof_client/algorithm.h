// Identifiers toward the provider modules, and the rules that choose among them.
#pragma once

#include <cstdint>

#include "velm_sof_client/byte_view.h"

namespace velm {

// Digest algorithms (GM/T 0006).
constexpr uint32_t kSm3 = 1;
constexpr uint32_t kSha1 = 2;
constexpr uint32_t kSha256 = 4;
constexpr uint32_t kNoDigest = 0;

// SM2 signature algorithm (GM/T 0006).
constexpr uint32_t kSm2Signature = 0x00020200;

// Types of a certificate's public key, as the crypto module names them.
constexpr uint32_t kRsaKey = 1;
constexpr uint32_t kSm2Key = 2;

// Every SM2 signature, in whatever encoding, is shorter than the shortest of RSA.
constexpr uint32_t kShortestRsaSignature = 128;

// The default user ID of GM/T 0009.
inline ByteView default_user_id() {
  static constexpr uint8_t id[] = {'1', '2', '3', '4', '5', '6', '7', '8',
                                   '1', '2', '3', '4', '5', '6', '7', '8'};
  return {id, sizeof id};
}

// The digest that an RSA signature over a hash value of this length stands for.
constexpr uint32_t digest_of_hash_length(uint32_t length) {
  if (length == 20) return kSha1;
  if (length == 32) return kSha256;
  return kNoDigest;
}

}  // namespace velm

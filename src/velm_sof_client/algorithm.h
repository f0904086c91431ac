// Algorithm identifiers for provider calls, and the rules that select them.
#pragma once

#include <cstdint>

#include "protocol/identifiers.h"
#include "velm_sof_client/byte_view.h"

namespace velm {

using protocol::kRsaKey;
using protocol::kSha1;
using protocol::kSha256;
using protocol::kSm2Key;
using protocol::kSm2Signature;
using protocol::kSm3;

constexpr uint32_t kNoDigest = 0;

// Size of an RSA-1024 signature in bytes. Every SM2 signature is shorter, in any encoding.
constexpr uint32_t kShortestRsaSignature = 128;

// Default user ID (GM/T 0009).
inline ByteView default_user_id() {
  constexpr std::string_view kId = protocol::kDefaultUserId;
  return {reinterpret_cast<const uint8_t*>(kId.data()), static_cast<uint32_t>(kId.size())};
}

// Digest algorithm of an RSA signature over a hash value of this length.
constexpr uint32_t digest_of_hash_length(uint32_t length) {
  if (length == 20) return kSha1;
  if (length == 32) return kSha256;
  return kNoDigest;
}

}  // namespace velm

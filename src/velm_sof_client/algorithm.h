// The algorithms of provider calls, and the rules that choose among them.
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

// No digest algorithm.
constexpr uint32_t kNoDigest = 0;

// Every SM2 signature, in whatever encoding, is shorter than the shortest of RSA.
constexpr uint32_t kShortestRsaSignature = 128;

// The default user ID, as provider calls take it.
inline ByteView default_user_id() {
  constexpr std::string_view kId = protocol::kDefaultUserId;
  return {reinterpret_cast<const uint8_t*>(kId.data()), static_cast<uint32_t>(kId.size())};
}

// The digest that an RSA signature over a hash value of this length stands for.
constexpr uint32_t digest_of_hash_length(uint32_t length) {
  if (length == 20) return kSha1;
  if (length == 32) return kSha256;
  return kNoDigest;
}

}  // namespace velm

// The service that the exported calls ask, and what one of them sets for later ones. None of it is locked: a
// value set on one thread is what later calls of any thread see. The provider context keeps its own state
// (sof_impl.h).
#pragma once

#include <atomic>
#include <cstdint>

#include "protocol/identifiers.h"

namespace velm {

inline constexpr char kServiceAddress[] = "http://127.0.0.1:55661";

struct ProcessState {
  std::atomic<int32_t> sign_method{0};
  std::atomic<int32_t> encrypt_method{protocol::kTripleDesCbc};
  std::atomic<bool> detached_signature{false};
  std::atomic<uint32_t> envelope_type{2};
};

inline constinit ProcessState process_state;

// Format in which user data goes to the service: 2, base64. Nothing changes it.
inline constinit const uint32_t g_multiUserInDataFmt = 2;

}  // namespace velm

// Address of the local service, and settings of the process. The settings are atomic, but not locked: a value
// set by one thread applies to later calls of all threads. sof_impl.h contains the state of the signature
// provider.
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

// Format of user data sent to the service; 2 is base64. Log lines print it under this name.
inline constinit const uint32_t g_multiUserInDataFmt = 2;

}  // namespace velm

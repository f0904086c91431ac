// Settings of the process. They are atomic, but not locked: a value set by one thread applies to later calls
// of all threads. sof_impl.h contains the state of the signature provider.
#pragma once

#include <atomic>
#include <cstdint>

#include "protocol/identifiers.h"

namespace velm {

struct ProcessState {
  std::atomic<int32_t> sign_method{0};
  std::atomic<int32_t> encrypt_method{protocol::kTripleDesCbc};
  std::atomic<bool> file_is_base64{false};
  std::atomic<uint32_t> envelope_type{2};
};

inline constinit ProcessState process_state;

// Format of user data sent to the service; 2 is base64. Log lines print it under this name.
inline constinit const uint32_t g_multiUserInDataFmt = 2;

}  // namespace velm

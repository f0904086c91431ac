#pragma once

#include <cstdint>
#include <new>

#include "softtoken/crypto/token_error.h"
#include "softtoken/providers/module_call.h"

namespace velm::token {

/** Result codes of the crypto module. */
enum ApiResult : int32_t {
  kApiSuccess = 0,
  kApiFailed = -1,
  kApiBadInput = -2,
  kApiNoMemory = -3,
};

/** Runs the body of an exported function and returns its result. No exception escapes. */
template <typename Body>
int32_t api_call(Body&& body) noexcept {
  if (!begin_module_call()) return kApiNoMemory;
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return kApiNoMemory;
  } catch (...) {
    return memory_ran_out() ? kApiNoMemory : kApiFailed;
  }
}

}  // namespace velm::token

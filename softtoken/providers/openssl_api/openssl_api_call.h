#pragma once

#include <cstdint>
#include <new>

#include "softtoken/crypto/token_error.h"

namespace velm::token {

/** Results of the crypto module. */
enum ApiResult : int32_t {
  kApiSuccess = 0,
  kApiFailed = -1,
  kApiBadInput = -2,
  kApiNoMemory = -3,
};

/** Runs the body of an exported function, which gives its result; nothing thrown leaves. */
template <typename Body>
int32_t api_call(Body&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return kApiNoMemory;
  } catch (...) {
    return kApiFailed;
  }
}

}  // namespace velm::token

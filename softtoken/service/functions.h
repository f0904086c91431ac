#pragma once

#include <cstdint>
#include <span>

#include "softtoken/crypto/secret.h"
#include "softtoken/store/token.h"

namespace velm::token {

class FrameReader;
class JsonRequest;

/** A function of the service; run() returns the response. */
template <class Request>
struct Function {
  uint32_t number;
  const char* name;
  SecretText (*run)(Token& token, Request& request);
};

using JsonFunction = Function<JsonRequest>;
/** Request and response are byte frames. */
using FrameFunction = Function<FrameReader>;

/** The functions for applications. Any other number returns kNotSupported. */
std::span<const JsonFunction> json_functions();
std::span<const FrameFunction> frame_functions();

}  // namespace velm::token

#pragma once

#include <cstdint>
#include <span>

#include <nlohmann/json_fwd.hpp>

#include "softtoken/store/token.h"

namespace velm::token {

class FrameReader;

/** A function with JSON request and response; run() returns the member "Result", null for none. */
struct JsonFunction {
  uint32_t number;
  const char* name;
  nlohmann::json (*run)(Token& token, const nlohmann::json& request);
};

/** A function with byte frames as request and response; run() returns the data of the response. */
struct FrameFunction {
  uint32_t number;
  const char* name;
  Bytes (*run)(Token& token, FrameReader& request);
};

/** The functions for applications. Any other number returns kNotSupported. */
std::span<const JsonFunction> json_functions();
std::span<const FrameFunction> frame_functions();

}  // namespace velm::token

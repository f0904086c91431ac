#pragma once

#include <cstdint>
#include <span>

#include <nlohmann/json_fwd.hpp>

#include "softtoken/store/token.h"

namespace velm::token {

class FrameReader;

/** A function that is asked and answers in JSON: its fields in, the answer's "Result" out (null for none). */
struct JsonFunction {
  uint32_t number;
  const char* name;
  nlohmann::json (*run)(Token& token, const nlohmann::json& request);
};

/** A function that is asked and answers in a byte frame: its fields in, the answer's data out. */
struct FrameFunction {
  uint32_t number;
  const char* name;
  Bytes (*run)(Token& token, FrameReader& request);
};

/** Every function that the service knows, by number; the others answer "not supported". */
std::span<const JsonFunction> json_functions();
std::span<const FrameFunction> frame_functions();

}  // namespace velm::token

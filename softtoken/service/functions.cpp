#include "softtoken/service/functions.h"

#include "softtoken/service/environment_functions.h"

namespace velm::token {
namespace {

constexpr JsonFunction kJsonFunctions[] = {
    {0, get_version},
    {26, gen_random},
    {38, greet},
    {58, greet},
};

}  // namespace

std::span<const JsonFunction> json_functions() { return kJsonFunctions; }

std::span<const FrameFunction> frame_functions() { return {}; }

}  // namespace velm::token

#pragma once

#include "softtoken/store/token.h"

namespace velm::token {

constexpr std::string_view kDemoPin = "12345678";

/** Adds the demo containers, all with kDemoPin. */
void add_demo_containers(Token& token);

}  // namespace velm::token

#pragma once

#include "softtoken/store/token.h"

namespace velm::token {

constexpr std::string_view kDemoPin = "12345678";

/** Fills a new store with the demo containers, all with the demo PIN. */
void add_demo_containers(Token& token);

}  // namespace velm::token

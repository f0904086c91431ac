#pragma once

#include "softtoken/service/functions.h"

namespace velm::token {

/** What provider modules ask for on a path of their own; the names of files and labels travel in base64. */
std::span<const JsonFunction> module_functions();

}  // namespace velm::token

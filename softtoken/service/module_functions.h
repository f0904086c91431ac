#pragma once

#include "softtoken/service/functions.h"

namespace velm::token {

/** Functions of the provider modules, on the path /token. Names of files and labels are base64. */
std::span<const JsonFunction> module_functions();

}  // namespace velm::token

#pragma once

#include <string>

namespace velm::token {

/** The folder of the executable or DLL that contains this code, with a trailing separator. */
std::string module_folder();

}  // namespace velm::token

#pragma once

#include <string>

namespace velm::token {

/** The folder of the program or library that this code lies in, with the separator at its end. */
std::string module_folder();

}  // namespace velm::token

#pragma once

#include <filesystem>

namespace velm::token {

/** The folder of the executable or DLL that contains this code. Throws kSafFileOpen if it is unknown. */
std::filesystem::path module_folder();

}  // namespace velm::token

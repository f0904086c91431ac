#pragma once

#include <filesystem>

namespace velm::token {

/** Where the store lies when no file is named: in the user's own application data. */
std::filesystem::path default_store();

}  // namespace velm::token

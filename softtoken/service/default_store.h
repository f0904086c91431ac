#pragma once

#include <filesystem>

namespace velm::token {

/** The path of the store without --data: VELM/softtoken.db in the application data of the user. */
std::filesystem::path default_store();

}  // namespace velm::token

#pragma once

#include <filesystem>
#include <optional>

namespace velm::token {

/**
 * The path of the store without --data: VELM/softtoken.db in the application data of the user. Nothing if the
 * environment does not name that folder.
 */
std::optional<std::filesystem::path> default_store();

}  // namespace velm::token

#pragma once

#include <filesystem>

namespace velm::permissions {

/**
 * Creates an empty file for the current user alone, and its folder if that is missing. An existing file
 * remains as it is. Throws std::runtime_error.
 */
void create_private_file(const std::filesystem::path& file);

/** Throws std::runtime_error with advice if other users may read or write the file. */
void require_private_file(const std::filesystem::path& file);

}  // namespace velm::permissions

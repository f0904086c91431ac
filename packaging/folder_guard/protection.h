#pragma once

#include <filesystem>

/** Permissions of the folders that the installer creates. */

/**
 * Whether only administrators and the current user may change the file or folder, and nobody else may put
 * another one in its place. False for links, and if the permissions cannot be read.
 */
bool is_protected(const std::filesystem::path& path);

/**
 * Makes a folder safe for programs: creates it if it is missing and lets only administrators change it. Keeps
 * the permissions of a folder that is safe already. Returns false, for files that others may have prepared,
 * if another folder is not empty, and if it cannot be made safe.
 */
bool protect_program_folder(const std::filesystem::path& folder);

/**
 * Creates `VELM\log` in a folder. Users may add folders and write files there. They may delete what they
 * created and nothing else.
 */
bool create_log_folder(const std::filesystem::path& common_data);

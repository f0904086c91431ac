#pragma once

#include <windows.h>

#include <filesystem>
#include <optional>
#include <vector>

#include "permissions/account.h"

/** Who may change files and folders. */
namespace velm::permissions {

/** Whether the path is a link: a junction, a symbolic link or a mount point. */
bool is_link(const std::filesystem::path& path);

/** Rights with which a folder can be deleted, renamed or given to others, and a link put in its place. */
constexpr DWORD kReplace = DELETE | WRITE_DAC | WRITE_OWNER | FILE_DELETE_CHILD;
/** Also the rights to write a file, and to create files in a folder. */
constexpr DWORD kChange = kReplace | FILE_WRITE_DATA | FILE_APPEND_DATA;

/**
 * The accounts that have one of the rights on a file or folder, except the current user and the accounts that
 * control the machine. Entries that deny access are ignored, so it may list too many. Returns nothing if the
 * permissions cannot be read.
 */
std::optional<std::vector<Sid>> others_who_may(DWORD rights, const std::filesystem::path& path);

}  // namespace velm::permissions

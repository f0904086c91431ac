#pragma once

#include <windows.h>

#include <filesystem>
#include <optional>
#include <vector>

#include "permissions/account.h"
#include "permissions/owned.h"

/** Who may use and change files and folders. */
namespace velm::permissions {

/** Rights to read or write a file, or to give others these rights. */
constexpr DWORD kUse = FILE_READ_DATA | FILE_WRITE_DATA | FILE_APPEND_DATA | WRITE_DAC | WRITE_OWNER;
/** Rights with which a folder can be deleted, renamed or given to others, and a link put in its place. */
constexpr DWORD kReplace = DELETE | WRITE_DAC | WRITE_OWNER | FILE_DELETE_CHILD;
/** Also the rights to write a file, and to create files in a folder. */
constexpr DWORD kChange = kReplace | FILE_WRITE_DATA | FILE_APPEND_DATA;

/** Whether an account is trusted with its rights: `can_take_any_file` or `controls_the_machine`. */
using AccountTest = bool (*)(const Sid&);

/**
 * The accounts that have one of the rights on a file or folder, except the current user and trusted accounts.
 * Entries that deny access are ignored, so it may list too many. Returns nothing if the permissions cannot be
 * read.
 */
std::optional<std::vector<Sid>> others_who_may(DWORD rights, const std::filesystem::path& path,
                                               AccountTest is_trusted);

/** The same for the owner and the access list of a security descriptor. */
std::vector<Sid> others_allowed(DWORD rights, PSECURITY_DESCRIPTOR descriptor, AccountTest is_trusted);

/** Reads a security descriptor in its text form (SDDL). Null if the text is not valid. */
LocalMemory descriptor_of_text(const wchar_t* text);

/** Whether the path is a link: a junction, a symbolic link or a mount point. */
bool is_link(const std::filesystem::path& path);

}  // namespace velm::permissions

#include "packaging/folder_guard/protection.h"

#include <windows.h>
#include <aclapi.h>

#include "permissions/access.h"
#include "permissions/owned.h"

using namespace velm::permissions;

namespace {

namespace fs = std::filesystem;

// SY: SYSTEM, BA: administrators, BU: users, CO: the creator of a file or folder. FA: full access, 0x1200a9:
// read and execute, 0x1200af: also add files and folders, 0x12019f: read and write a file. OI and CI: files
// and folders inherit the entry, IO: it does not apply to the folder itself.
constexpr wchar_t kProgramFolder[] = L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)";
constexpr wchar_t kLogFolder[] =
    L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICIIO;FA;;;CO)(A;CI;0x1200af;;;BU)(A;OIIO;0x12019f;;;BU)";

bool nobody_else_may(DWORD rights, const fs::path& path) {
  const auto others = others_who_may(rights, path, controls_the_machine);
  return others && others->empty();
}

// The right to delete the root of a volume has no effect.
DWORD rights_to_replace_below(const fs::path& folder) {
  return folder == folder.root_path() ? kReplace & ~DWORD{DELETE} : kReplace;
}

// Changes the folder itself, not the target of a link.
bool set_permissions(const fs::path& folder, const wchar_t* text) {
  const LocalMemory descriptor = descriptor_of_text(text);
  if (!descriptor) return false;
  const HANDLE opened =
      CreateFileW(folder.c_str(), READ_CONTROL | WRITE_DAC | WRITE_OWNER, FILE_SHARE_READ | FILE_SHARE_WRITE,
                  nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
  if (opened == INVALID_HANDLE_VALUE) return false;
  const Handle handle(opened);
  BY_HANDLE_FILE_INFORMATION information{};
  if (!GetFileInformationByHandle(opened, &information) ||
      (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
    return false;
  }
  PSID owner = nullptr;
  PACL list = nullptr;
  BOOL is_default = FALSE, is_present = FALSE;
  return GetSecurityDescriptorOwner(descriptor.get(), &owner, &is_default) &&
         GetSecurityDescriptorDacl(descriptor.get(), &is_present, &list, &is_default) &&
         SetSecurityInfo(
             opened, SE_FILE_OBJECT,
             OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
             owner, nullptr, list, nullptr) == ERROR_SUCCESS;
}

bool is_folder_with(const fs::path& folder, const wchar_t* permissions) {
  std::error_code error;
  fs::create_directory(folder, error);
  return fs::is_directory(folder, error) && !is_link(folder) && set_permissions(folder, permissions);
}

}  // namespace

bool is_protected(const fs::path& path) {
  if (is_link(path) || !nobody_else_may(kChange, path)) return false;
  for (fs::path folder = path.parent_path();; folder = folder.parent_path()) {
    if (is_link(folder) || !nobody_else_may(rights_to_replace_below(folder), folder)) return false;
    if (folder == folder.root_path()) return true;
  }
}

bool protect_program_folder(const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (is_protected(folder)) return true;
  // Others could still add files until the permissions are set, hence the second look.
  return fs::is_empty(folder, error) && set_permissions(folder, kProgramFolder) &&
         fs::is_empty(folder, error) && is_protected(folder);
}

bool create_log_folder(const fs::path& common_data) {
  const fs::path velm = common_data / L"VELM";
  return is_folder_with(velm, kProgramFolder) && is_folder_with(velm / L"log", kLogFolder);
}

// folder_guard: checks and sets the permissions of folders for the installer. Exit status 0 means yes or
// done.
//
//   folder_guard is-protected PATH...   may only administrators change these files and folders?
//   folder_guard protect FOLDER         prepares a folder for programs
//   folder_guard create-log-folder      creates %ProgramData%\VELM\log
#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "packaging/folder_guard/protection.h"

namespace {

std::filesystem::path common_data() {
  wchar_t folder[MAX_PATH] = L"";
  SHGetSpecialFolderPathW(nullptr, folder, CSIDL_COMMON_APPDATA, FALSE);
  return folder;
}

bool run(std::wstring_view command, const std::vector<std::filesystem::path>& paths) {
  if (command == L"is-protected") return !paths.empty() && std::ranges::all_of(paths, is_protected);
  if (command == L"protect") return paths.size() == 1 && protect_program_folder(paths[0]);
  return command == L"create-log-folder" && paths.empty() && create_log_folder(common_data());
}

}  // namespace

int wmain(int argc, wchar_t** argv) try {
  SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
  return argc >= 2 && run(argv[1], {argv + 2, argv + argc}) ? 0 : 1;
} catch (const std::exception&) {
  return 1;
}

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "permissions/private_file.h"

namespace velm::permissions {
namespace {

struct LocalMemory {
  void operator()(void* memory) const { LocalFree(memory); }
};
struct OpenHandle {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, OpenHandle>;
using Descriptor = std::unique_ptr<void, LocalMemory>;
using SidText = std::unique_ptr<wchar_t, LocalMemory>;

[[noreturn]] void fail(const std::string& what, DWORD error) {
  throw std::runtime_error(what + ": system error " + std::to_string(error));
}

std::string utf8(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

/** The current user, as TOKEN_USER. */
class CurrentUser {
 public:
  CurrentUser() {
    HANDLE opened = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened))
      fail("no process token", GetLastError());
    const Handle token(opened);
    DWORD size = 0;
    GetTokenInformation(opened, TokenUser, nullptr, 0, &size);
    memory_.resize(size);
    if (!GetTokenInformation(opened, TokenUser, memory_.data(), size, &size))
      fail("no user of the process", GetLastError());
  }

  PSID sid() const { return reinterpret_cast<const TOKEN_USER*>(memory_.data())->User.Sid; }

 private:
  std::vector<uint8_t> memory_;
};

// Full access for the current user, which files in a folder inherit, and nobody else.
Descriptor private_descriptor() {
  const CurrentUser user;
  wchar_t* sid = nullptr;
  if (!ConvertSidToStringSidW(user.sid(), &sid)) fail("no identifier of the user", GetLastError());
  const SidText sid_text(sid);
  const std::wstring text = std::wstring(L"D:P(A;OICI;FA;;;") + sid + L")";
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, &descriptor,
                                                            nullptr))
    fail("no security descriptor", GetLastError());
  return Descriptor(descriptor);
}

SECURITY_ATTRIBUTES attributes_with(const Descriptor& descriptor) {
  return {sizeof(SECURITY_ATTRIBUTES), descriptor.get(), FALSE};
}

void create_private_folder(const std::filesystem::path& folder) {
  if (folder.empty() || std::filesystem::exists(folder)) return;
  if (folder.has_parent_path()) std::filesystem::create_directories(folder.parent_path());
  const Descriptor descriptor = private_descriptor();
  SECURITY_ATTRIBUTES attributes = attributes_with(descriptor);
  if (!CreateDirectoryW(folder.c_str(), &attributes) && GetLastError() != ERROR_ALREADY_EXISTS)
    fail("cannot create " + utf8(folder), GetLastError());
}

// Administrators and the system can take any file, whatever its permissions.
bool is_trusted(PSID sid, const CurrentUser& user) {
  return EqualSid(sid, user.sid()) || IsWellKnownSid(sid, WinLocalSystemSid) ||
         IsWellKnownSid(sid, WinBuiltinAdministratorsSid) || IsWellKnownSid(sid, WinCreatorOwnerRightsSid);
}

bool others_are_granted(PACL list) {
  constexpr DWORD kAccess = FILE_READ_DATA | FILE_WRITE_DATA | FILE_APPEND_DATA | WRITE_DAC | WRITE_OWNER |
                            GENERIC_READ | GENERIC_WRITE | GENERIC_ALL;
  if (list == nullptr) return true;  // everyone has full access
  const CurrentUser user;
  for (DWORD i = 0; i < list->AceCount; ++i) {
    void* entry = nullptr;
    if (!GetAce(list, i, &entry)) return true;
    const auto* allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
    const bool grants = allowed->Header.AceType == ACCESS_ALLOWED_ACE_TYPE && (allowed->Mask & kAccess) != 0;
    if (grants && !is_trusted(const_cast<DWORD*>(&allowed->SidStart), user)) return true;
  }
  return false;
}

}  // namespace

void create_private_file(const std::filesystem::path& file) {
  create_private_folder(file.parent_path());
  const Descriptor descriptor = private_descriptor();
  SECURITY_ATTRIBUTES attributes = attributes_with(descriptor);
  const HANDLE created = CreateFileW(file.c_str(), GENERIC_READ | GENERIC_WRITE, 0, &attributes, CREATE_NEW,
                                     FILE_ATTRIBUTE_NORMAL, nullptr);
  if (created != INVALID_HANDLE_VALUE) {
    CloseHandle(created);
  } else if (GetLastError() != ERROR_FILE_EXISTS) {
    fail("cannot create " + utf8(file), GetLastError());
  }
}

void require_private_file(const std::filesystem::path& file) {
  PACL list = nullptr;
  PSECURITY_DESCRIPTOR found = nullptr;
  std::wstring name = file.wstring();
  if (GetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list,
                            nullptr, &found) != ERROR_SUCCESS)
    return;  // opening the file will fail, too
  const Descriptor descriptor(found);
  if (!others_are_granted(list)) return;
  throw std::runtime_error("other users may read or write " + utf8(file) +
                           "; restrict its permissions to your own account");
}

}  // namespace velm::permissions

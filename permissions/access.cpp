#include "permissions/access.h"

#include <aclapi.h>
#include <sddl.h>

#include <algorithm>

namespace velm::permissions {
namespace {

// An allow entry that applies to the object itself. Entries of both types have the same layout.
bool allows(const ACE_HEADER& entry) {
  const bool is_allowing =
      entry.AceType == ACCESS_ALLOWED_ACE_TYPE || entry.AceType == ACCESS_ALLOWED_CALLBACK_ACE_TYPE;
  return is_allowing && !(entry.AceFlags & INHERIT_ONLY_ACE);
}

DWORD file_rights(DWORD mask) {
  GENERIC_MAPPING mapping{FILE_GENERIC_READ, FILE_GENERIC_WRITE, FILE_GENERIC_EXECUTE, FILE_ALL_ACCESS};
  MapGenericMask(&mask, &mapping);
  return mask;
}

// CREATOR OWNER and OWNER RIGHTS refer to the owner, who is checked separately.
bool refers_to_owner(const Sid& sid) {
  return sid == sid_of_text(L"S-1-3-0") || sid == sid_of_text(L"S-1-3-4");
}

// Null if there is none.
PSID owner_of(PSECURITY_DESCRIPTOR descriptor) {
  PSID owner = nullptr;
  BOOL is_default = FALSE;
  GetSecurityDescriptorOwner(descriptor, &owner, &is_default);
  return owner;
}

PACL access_list_of(PSECURITY_DESCRIPTOR descriptor) {
  PACL list = nullptr;
  BOOL is_default = FALSE, is_present = FALSE;
  GetSecurityDescriptorDacl(descriptor, &is_present, &list, &is_default);
  return is_present ? list : nullptr;
}

}  // namespace

std::optional<std::vector<Sid>> others_who_may(DWORD rights, const std::filesystem::path& path,
                                               AccountTest is_trusted) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT,
                            OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr,
                            nullptr, &descriptor) != ERROR_SUCCESS) {
    return {};
  }
  const LocalMemory memory(descriptor);
  return others_allowed(rights, descriptor, is_trusted);
}

std::vector<Sid> others_allowed(DWORD rights, PSECURITY_DESCRIPTOR descriptor, AccountTest is_trusted) {
  const Sid everyone = sid_of_text(L"S-1-1-0");
  const PACL list = access_list_of(descriptor);
  if (!list) return {everyone};  // without a list, everyone may do everything

  const Sid self = current_user();
  std::vector<Sid> others;
  const auto add = [&](PSID account) {
    const Sid sid = copy_of_sid(account);
    if (sid == self || is_trusted(sid) || refers_to_owner(sid)) return;
    if (std::ranges::find(others, sid) == others.end()) others.push_back(sid);
  };
  if (const PSID owner = owner_of(descriptor)) add(owner);  // an owner can give himself every right
  for (DWORD i = 0; i < list->AceCount; ++i) {
    void* entry = nullptr;
    if (!GetAce(list, i, &entry)) return {everyone};  // unreadable: assume the worst
    auto* allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
    if (allows(allowed->Header) && (file_rights(allowed->Mask) & rights)) add(&allowed->SidStart);
  }
  return others;
}

LocalMemory descriptor_of_text(const wchar_t* text) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ConvertStringSecurityDescriptorToSecurityDescriptorW(text, SDDL_REVISION_1, &descriptor, nullptr);
  return LocalMemory(descriptor);
}

bool is_link(const std::filesystem::path& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

}  // namespace velm::permissions

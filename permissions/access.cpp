#include "permissions/access.h"

#include <aclapi.h>

#include <algorithm>

#include "permissions/owned.h"

namespace velm::permissions {
namespace {

// An allow entry that applies to the object itself. Entries of both types have the same layout.
const ACCESS_ALLOWED_ACE* allow_entry(PACL list, DWORD index) {
  void* entry = nullptr;
  if (!GetAce(list, index, &entry)) return nullptr;
  const auto* allowed = static_cast<const ACCESS_ALLOWED_ACE*>(entry);
  const BYTE type = allowed->Header.AceType;
  const bool is_allowing = type == ACCESS_ALLOWED_ACE_TYPE || type == ACCESS_ALLOWED_CALLBACK_ACE_TYPE;
  return is_allowing && !(allowed->Header.AceFlags & INHERIT_ONLY_ACE) ? allowed : nullptr;
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

}  // namespace

bool is_link(const std::filesystem::path& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

std::optional<std::vector<Sid>> others_who_may(DWORD rights, const std::filesystem::path& path) {
  PSID owner = nullptr;
  PACL list = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT,
                            OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner, nullptr, &list,
                            nullptr, &descriptor) != ERROR_SUCCESS) {
    return {};
  }
  const LocalMemory memory(descriptor);
  if (!list) return {{sid_of_text(L"S-1-1-0")}};  // without a list, everyone may do everything

  const Sid self = current_user();
  std::vector<Sid> others;
  const auto add = [&](const Sid& sid) {
    if (sid == self || controls_the_machine(sid) || refers_to_owner(sid)) return;
    if (std::ranges::find(others, sid) == others.end()) others.push_back(sid);
  };
  add(copy_of_sid(owner));  // an owner can give himself every right
  for (DWORD i = 0; i < list->AceCount; ++i) {
    const ACCESS_ALLOWED_ACE* entry = allow_entry(list, i);
    if (!entry || !(file_rights(entry->Mask) & rights)) continue;
    add(copy_of_sid(const_cast<DWORD*>(&entry->SidStart)));
  }
  return others;
}

}  // namespace velm::permissions

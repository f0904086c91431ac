#include "permissions/account.h"

#include <sddl.h>

#include <algorithm>

#include "permissions/owned.h"

namespace velm::permissions {

Sid copy_of_sid(PSID sid) {
  const auto* bytes = static_cast<const unsigned char*>(sid);
  return Sid(bytes, bytes + GetLengthSid(sid));
}

Sid sid_of_text(const wchar_t* text) {
  PSID sid = nullptr;
  if (!ConvertStringSidToSidW(text, &sid)) return {};
  const LocalMemory owner(sid);
  return copy_of_sid(sid);
}

Sid user_of_process(HANDLE process) {
  HANDLE token = nullptr;
  if (!OpenProcessToken(process, TOKEN_QUERY, &token)) return {};
  const Handle owner(token);
  alignas(TOKEN_USER) unsigned char user[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
  DWORD size = 0;
  if (!GetTokenInformation(token, TokenUser, user, sizeof user, &size)) return {};
  return copy_of_sid(reinterpret_cast<const TOKEN_USER*>(user)->User.Sid);
}

Sid current_user() { return user_of_process(GetCurrentProcess()); }

bool controls_the_machine(const Sid& sid) {
  constexpr const wchar_t* kAccounts[] = {
      L"S-1-5-18",                                                        // SYSTEM
      L"S-1-5-19",                                                        // LOCAL SERVICE
      L"S-1-5-20",                                                        // NETWORK SERVICE
      L"S-1-5-32-544",                                                    // the group of administrators
      L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464",  // TrustedInstaller
  };
  return std::ranges::any_of(kAccounts, [&](const wchar_t* text) { return sid == sid_of_text(text); });
}

std::wstring account_name(const Sid& sid) {
  wchar_t name[256], domain[256];
  DWORD name_size = std::size(name), domain_size = std::size(domain);
  SID_NAME_USE use{};
  const PSID pointer = const_cast<unsigned char*>(sid.data());
  if (LookupAccountSidW(nullptr, pointer, name, &name_size, domain, &domain_size, &use)) {
    return domain_size == 0 ? name : std::wstring(domain) + L"\\" + name;
  }
  wchar_t* text = nullptr;
  if (!ConvertSidToStringSidW(pointer, &text)) return L"an unknown account";
  const LocalMemory owner(text);
  return text;
}

}  // namespace velm::permissions

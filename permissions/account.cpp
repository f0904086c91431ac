#include "permissions/account.h"

#include <sddl.h>

#include <algorithm>

#include "permissions/owned.h"

namespace velm::permissions {
namespace {

// Functions of Windows that only read a SID take it without const.
PSID pointer_to(const Sid& sid) { return const_cast<unsigned char*>(sid.data()); }

bool is_one_of(const Sid& sid, std::initializer_list<const wchar_t*> texts) {
  return std::ranges::any_of(texts, [&](const wchar_t* text) { return sid == sid_of_text(text); });
}

}  // namespace

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

std::wstring text_of_sid(const Sid& sid) {
  wchar_t* text = nullptr;
  if (sid.empty() || !ConvertSidToStringSidW(pointer_to(sid), &text)) return {};
  const LocalMemory owner(text);
  return text;
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

bool can_take_any_file(const Sid& sid) {
  constexpr wchar_t kSystem[] = L"S-1-5-18";
  constexpr wchar_t kAdministrators[] = L"S-1-5-32-544";
  return is_one_of(sid, {kSystem, kAdministrators});
}

bool controls_the_machine(const Sid& sid) {
  constexpr wchar_t kTrustedInstaller[] = L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";
  constexpr wchar_t kLocalService[] = L"S-1-5-19";
  constexpr wchar_t kNetworkService[] = L"S-1-5-20";
  return can_take_any_file(sid) || is_one_of(sid, {kTrustedInstaller, kLocalService, kNetworkService});
}

std::wstring account_name(const Sid& sid) {
  wchar_t name[256], domain[256];
  DWORD name_size = std::size(name), domain_size = std::size(domain);
  SID_NAME_USE use{};
  if (LookupAccountSidW(nullptr, pointer_to(sid), name, &name_size, domain, &domain_size, &use)) {
    return domain_size == 0 ? name : std::wstring(domain) + L"\\" + name;
  }
  const std::wstring text = text_of_sid(sid);
  return text.empty() ? L"an unknown account" : text;
}

}  // namespace velm::permissions

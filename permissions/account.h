#pragma once

#include <windows.h>

#include <string>
#include <vector>

/** Windows accounts: users and groups, identified by their SIDs. */
namespace velm::permissions {

/** Bytes of a SID. */
using Sid = std::vector<unsigned char>;

Sid copy_of_sid(PSID sid);
/** Reads the text form, for example S-1-5-18. */
Sid sid_of_text(const wchar_t* text);
/** The text form. Empty if the SID is not valid. */
std::wstring text_of_sid(const Sid& sid);

/** The user of a process. Empty if the current user may not know it. */
Sid user_of_process(HANDLE process);
Sid current_user();

/** SYSTEM and administrators: they can take any file, whatever its permissions. */
bool can_take_any_file(const Sid& sid);
/** Accounts that control the machine anyway: these, and the services of Windows. */
bool controls_the_machine(const Sid& sid);

/** `DOMAIN\name`, or the text form of a SID without a name. */
std::wstring account_name(const Sid& sid);

}  // namespace velm::permissions

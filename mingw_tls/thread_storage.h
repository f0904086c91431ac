// What the C++ runtime keeps for a DLL that has it linked in, and gives back when the DLL is unloaded. A DLL
// of this project calls both functions from its entry point; nothing may be thrown before the first or after
// the second.
#pragma once

namespace velm {

// At process attach. False when the system has no slot left; the DLL cannot be loaded then.
bool open_thread_storage();

// Gives this thread what it needs to throw, unless it has it. False when memory runs out: a throw would end
// the process then.
bool prepare_thread();

// At process detach, and only when the DLL is unloaded: at the end of the process the system takes everything
// back.
void close_thread_storage();

}  // namespace velm

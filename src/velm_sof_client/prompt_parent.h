// Parent window of the PIN prompt.
#pragma once

#include <windows.h>

namespace velm {

// Returns a top-level window of this process, else the active window, else the foreground window, which may
// be null.
HWND prompt_parent();

}  // namespace velm

// The window that a prompt opens over.
#pragma once

#include <windows.h>

namespace velm {

// A top-level window of this process, else the active window, else the foreground window, which may be null.
HWND prompt_parent();

}  // namespace velm

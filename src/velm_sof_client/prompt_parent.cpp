#include "velm_sof_client/prompt_parent.h"

namespace velm {
namespace {

struct WindowSearch {
  HWND found = nullptr;
  DWORD process = GetCurrentProcessId();
};

BOOL CALLBACK stop_at_own_window(HWND window, LPARAM parameter) {
  auto& search = *reinterpret_cast<WindowSearch*>(parameter);
  DWORD owner = 0;
  GetWindowThreadProcessId(window, &owner);
  if (owner != search.process) return TRUE;
  search.found = window;
  return FALSE;
}

}  // namespace

HWND prompt_parent() {
  WindowSearch search;
  EnumWindows(stop_at_own_window, reinterpret_cast<LPARAM>(&search));
  if (search.found) return search.found;
  if (const HWND active = GetActiveWindow()) return active;
  return GetForegroundWindow();
}

}  // namespace velm

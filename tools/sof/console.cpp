#include "console.h"

#include <windows.h>

#include "input_output.h"
#include "temporary_file.h"

namespace {

/** The console settings that this program changes, with their original values. */
struct Settings {
  UINT code_page = 0;
  DWORD input_mode = 0;
  DWORD output_mode = 0;
};

Settings g_found;

HANDLE input() { return GetStdHandle(STD_INPUT_HANDLE); }
HANDLE output() { return GetStdHandle(STD_OUTPUT_HANDLE); }

// Without a console these calls fail and change nothing.
void restore() {
  if (g_found.code_page != 0) SetConsoleOutputCP(g_found.code_page);
  SetConsoleMode(input(), g_found.input_mode);
  SetConsoleMode(output(), g_found.output_mode);
}

BOOL WINAPI restore_and_end(DWORD) {
  restore();
  give_up_temporary_files();
  return FALSE;
}

}  // namespace

Console::Console() {
  g_found.code_page = GetConsoleOutputCP();
  GetConsoleMode(input(), &g_found.input_mode);
  GetConsoleMode(output(), &g_found.output_mode);
  if (g_found.code_page != 0) SetConsoleOutputCP(CP_UTF8);
  SetConsoleMode(output(), g_found.output_mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
  SetConsoleCtrlHandler(restore_and_end, TRUE);
}

Console::~Console() { restore(); }

NoEcho::NoEcho() {
  constexpr DWORD kLines = ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT;
  SetConsoleMode(input(), (g_found.input_mode | kLines) & ~DWORD{ENABLE_ECHO_INPUT});
}

NoEcho::~NoEcho() {
  SetConsoleMode(input(), g_found.input_mode);
  write_standard_error("\n");
}

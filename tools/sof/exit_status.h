#pragma once

/** Exit status of the program; also listed by --help and in docs/sof.md. */
enum class ExitStatus {
  done = 0,
  call_failed = 1,
  usage = 2,
  file = 3,
  refused = 4,
  no_service = 5,
  no_access = 6,
  problems = 7,
  no_library = 8,
};

constexpr const char* kExitStatuses =
    "Exit status:\n"
    "  0  success; in a verification, the result is valid\n"
    "  1  a function failed; standard error shows its name, code and text\n"
    "  2  invalid command line\n"
    "  3  a file, standard input or standard output cannot be read or written\n"
    "  4  verification result: not valid (signature, certificate or time-stamp token)\n"
    "  5  the local service cannot be reached\n"
    "  6  no access: not logged in, wrong PIN, PIN locked, or cancelled\n"
    "  7  `sof doctor` found a problem\n"
    "  8  velm_sof_client.dll or one of its modules cannot be loaded\n";

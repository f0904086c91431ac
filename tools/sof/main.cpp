// sof: command-line tool with one command for each task of the library.
#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <iostream>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include "command.h"
#include "commands.h"
#include "console.h"
#include "exit_status.h"
#include "input_output.h"
#include "text.h"

// Disable wildcard expansion of command-line arguments.
extern "C" int _CRT_glob = 0;

namespace {

void add_commands(CLI::App& program) {
  add_container_commands(program);
  add_certificate_commands(program);
  add_sign_commands(program);
  add_verify_commands(program);
  add_encryption_commands(program);
  add_data_commands(program);
  add_stamp_commands(program);
  add_storage_commands(program);
  add_seal_commands(program);
  add_service_commands(program);
  add_doctor_command(program);
  add_log_command(program);
}

ExitStatus run(int argc, wchar_t** argv) {
  CLI::App program{
      "Command-line tool for velm_sof_client.dll: certificates, signatures, encryption, devices"};
  program.name("sof");
  program.require_subcommand(1);
  program.set_version_flag("--version", VELM_SOF_VERSION);
  add_commands(program);
  // Set last, so that the help of a command does not repeat it.
  program.footer(kExitStatuses);
  std::vector<std::string> words;
  for (int i = argc - 1; i > 0; --i) words.push_back(utf8_of(argv[i]));
  try {
    program.parse(std::move(words));
  } catch (const CLI::Success& success) {
    program.exit(success);
    return std::cout.flush() ? ExitStatus::done : ExitStatus::file;
  } catch (const CLI::ParseError& error) {
    program.exit(error);
    return ExitStatus::usage;
  }
  return exit_status();
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  // Load no library from the current folder or PATH.
  SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
  const Console console;
  _setmode(_fileno(stdout), _O_BINARY);
  ExitStatus status = ExitStatus::call_failed;
  try {
    status = run(argc, argv);
  } catch (const std::exception& error) {
    write_standard_error(std::string("sof: ") + error.what() + "\n");
  }
  return static_cast<int>(status);
}

// sof: command-line tool with one command for each task of the library.
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

void add_commands(CLI::App& sof) {
  add_container_commands(sof);
  add_certificate_commands(sof);
  add_sign_commands(sof);
  add_verify_commands(sof);
  add_encryption_commands(sof);
  add_data_commands(sof);
  add_stamp_commands(sof);
  add_storage_commands(sof);
  add_seal_commands(sof);
  add_service_commands(sof);
  add_doctor_command(sof);
  add_log_command(sof);
}

ExitStatus run(int argc, wchar_t** argv) {
  CLI::App sof{"Certificates, signatures, encryption and what a device keeps, through velm_sof_client.dll"};
  sof.name("sof");
  sof.require_subcommand(1);
  sof.set_version_flag("--version", VELM_SOF_VERSION);
  sof.footer(kExitStatuses);
  add_commands(sof);
  std::vector<std::string> words;
  for (int i = argc - 1; i > 0; --i) words.push_back(utf8_of(argv[i]));
  try {
    sof.parse(std::move(words));
  } catch (const CLI::Success& success) {
    sof.exit(success);
    return std::cout.flush() ? ExitStatus::done : ExitStatus::file;
  } catch (const CLI::ParseError& error) {
    sof.exit(error);
    return ExitStatus::usage;
  }
  return exit_status();
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
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

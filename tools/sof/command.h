#pragma once

#include <functional>
#include <memory>

#include <CLI/App.hpp>

#include "report.h"

/** Whether a command calls the library. Commands that do not also run when the library cannot be loaded. */
enum class Needs { library, nothing };

/** Runs a command, prints its report or failure, and stores the exit status for main(). */
void run_command(Needs needs, bool as_json, const std::function<Report()>& run);
ExitStatus exit_status();

/** Loads velm_sof_client.dll from the program's folder. Returns false and the system error on failure. */
bool load_library(uint32_t& error);

/**
 * Adds a sub-command. `Command` stores its arguments: `add_options(CLI::App&)` declares them, `run()`
 * executes the command and returns a report. A command that prints while it runs has `run(bool as_json)`.
 */
template <class Command>
CLI::App& add_command(CLI::App& parent, const char* name, const char* description,
                      Needs needs = Needs::library) {
  CLI::App* app = parent.add_subcommand(name, description);
  const auto command = std::make_shared<Command>();
  const auto as_json = std::make_shared<bool>(false);
  command->add_options(*app);
  app->add_flag("--json", *as_json, "print one JSON object");
  app->callback([=] {
    run_command(needs, *as_json, [&] {
      if constexpr (requires { command->run(true); }) {
        return command->run(*as_json);
      } else {
        return command->run();
      }
    });
  });
  return *app;
}

/** Adds a sub-command that only groups others. */
inline CLI::App& add_group(CLI::App& parent, const char* name, const char* description) {
  CLI::App* group = parent.add_subcommand(name, description);
  group->require_subcommand(1);
  return *group;
}

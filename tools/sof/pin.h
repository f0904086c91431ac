#pragma once

#include <string>

#include <CLI/App.hpp>

#include "bytes.h"

/**
 * Source of PINs: a prompt if standard input is a console, otherwise one line of standard input for each PIN.
 * PINs are never read from the command line.
 */
class PinSource {
 public:
  void add_options(CLI::App& command);
  /**
   * Throws Failure if no PIN is available or standard input is already used for something else.
   * @param name Description for the prompt and for error messages.
   */
  sof::Pin ask(const std::string& name);

 private:
  bool from_standard_input_ = false;
  bool taken_ = false;
};

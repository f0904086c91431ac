#pragma once

/**
 * The console of this process, if it has one: it shows UTF-8 and colours while this lives, and is left as it
 * was found, also when Ctrl+C ends the program.
 */
class Console {
 public:
  Console();
  ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;
};

/** What is typed into the console is not shown while this lives. */
class NoEcho {
 public:
  NoEcho();
  ~NoEcho();
  NoEcho(const NoEcho&) = delete;
  NoEcho& operator=(const NoEcho&) = delete;
};

#pragma once

/**
 * Sets the console, if there is one, to UTF-8 output and colours. The original settings are restored by the
 * destructor and on Ctrl+C.
 */
class Console {
 public:
  Console();
  ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;
};

/** Disables console echo during its lifetime. */
class NoEcho {
 public:
  NoEcho();
  ~NoEcho();
  NoEcho(const NoEcho&) = delete;
  NoEcho& operator=(const NoEcho&) = delete;
};

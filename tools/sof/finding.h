#pragma once

#include <string>

/** How much a finding of `sof doctor` matters. Calls work despite warnings. */
enum class Grade { ok, note, warning, problem };

struct Finding {
  Grade grade;
  std::string subject;
  std::string found;
  /** What to do about it. Empty if nothing need be done. */
  std::string advice;
};

#pragma once

#include "findings.h"

/** Checks of `sof doctor` on the folders that the library uses. */

/** Warns if other users may change the program folder: they could replace the library. */
void check_program_folder(Findings& findings);
/** Warns if the library cannot log, or if other users may put a link in place of the folder. */
void check_log_folder(Findings& findings);
void check_verbose_logging(Findings& findings);

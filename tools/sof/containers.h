#pragma once

#include <string>
#include <vector>

#include "bytes.h"

/** Returns the names of all containers in UTF-8. */
std::vector<std::string> container_names();

/** Splits a double-NUL-terminated list. */
std::vector<std::string> names_in(const Bytes& list);

#pragma once

#include <string>
#include <vector>

#include "bytes.h"

/** The names of all containers, in UTF-8. */
std::vector<std::string> container_names();

/** The names in a list in which each ends in a zero byte, and the list in another. */
std::vector<std::string> names_in(const Bytes& list);

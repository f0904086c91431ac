#pragma once

#include "softtoken/providers/saf/configuration.h"

namespace velm::token {

/** Opens an application on a configuration file and gives its handle. */
void* open_application(const std::string& configuration_path);

/**
 * Throws the code for a bad object when the handle is not of an open application. Does nothing at the end of
 * the process.
 */
void close_application(void* handle);

/**
 * The configuration that an application works with. Functions may be called before any application is open: a
 * null handle stands for the standard configuration file, or the values that hold where there is none.
 */
Configuration configuration_of(void* handle);

}  // namespace velm::token

#pragma once

#include "softtoken/providers/saf/configuration.h"

namespace velm::token {

/** Opens an application with a configuration file and returns its handle. */
void* open_application(const std::string& configuration_path);

/** Throws SafError(kSafBadObject) unless `handle` is an open application. */
void close_application(void* handle);

/**
 * Returns the configuration of an application. Functions may be called before any application is open: for a
 * null handle, returns the configuration in the standard file, or the default values if that file cannot be
 * opened.
 */
Configuration configuration_of(void* handle);

}  // namespace velm::token

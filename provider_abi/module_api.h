#pragma once

/**
 * @file module_api.h
 * @brief Marks the functions of the provider modules.
 *
 * By default the functions are imported from the module's DLL. A DLL that implements a module defines
 * `VELM_MODULE_BUILD` and exports them with its module definition file.
 */
#if defined(_WIN32) && !defined(VELM_MODULE_BUILD)
#define VELM_MODULE_API __declspec(dllimport)
#else
#define VELM_MODULE_API
#endif

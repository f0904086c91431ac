#pragma once

#include <filesystem>
#include <string>

#include "bytes.h"

/** File names are UTF-8; "-" is standard input or output. Errors are thrown as Failure. */

std::filesystem::path path_of(const std::string& utf8);
std::string text_of_path(const std::filesystem::path& path);

enum class Stream { input, output, error };
/** Whether a standard stream is a console. */
bool is_console(Stream stream);

/**
 * Reserves standard input, because only one argument can be read from it. Ignored if it is a console.
 * @param what Description of the argument for error messages.
 */
void take_standard_input(const std::string& what);
/** Reads up to `at_most` bytes of standard input. Returns the count, 0 at the end. */
size_t read_standard_input(void* bytes, size_t at_most);

/**
 * Reads a whole file, or standard input.
 * @param what Description of the content for error messages.
 */
Bytes read_all(const std::string& name, const std::string& what);
void write_all(const std::string& name, const Bytes& content);
void write_standard_output(std::string_view text);
void write_standard_error(std::string_view text);

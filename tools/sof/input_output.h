#pragma once

#include <filesystem>
#include <string>

#include "bytes.h"

/** Files are named in UTF-8; "-" stands for standard input or output. What fails is thrown as Failure. */

std::filesystem::path path_of(const std::string& utf8);
std::string text_of_path(const std::filesystem::path& path);

enum class Stream { input, output, error };
/** Whether a standard stream is a console. */
bool is_console(Stream stream);

/**
 * Reserves standard input, which can carry one thing only when it is no console.
 * @param what What it is to carry, as a message names it.
 */
void take_standard_input(const std::string& what);
/** Reads the next bytes of standard input into `bytes`; how many, and 0 at its end. */
size_t read_standard_input(void* bytes, size_t at_most);

/**
 * Everything in a file or on standard input.
 * @param what What it holds, as a message names it.
 */
Bytes read_all(const std::string& name, const std::string& what);
void write_all(const std::string& name, const Bytes& content);
void write_standard_output(std::string_view text);
void write_standard_error(std::string_view text);

#pragma once

#include <filesystem>
#include <string>

/** Returns 128 random bits in hexadecimal. */
std::wstring random_name();

/**
 * Creates an empty file `sof-NAME` with the given ending and returns its path. A file or link that already
 * has the name is left alone, and another name is tried. Other users therefore cannot prepare a link under
 * the name. Throws std::filesystem::filesystem_error if no file can be created.
 * @param name Returns a name for each attempt.
 */
std::filesystem::path create_new_file(const std::filesystem::path& folder, const wchar_t* ending,
                                      std::wstring (*name)() = random_name);

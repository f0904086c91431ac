#pragma once

#include <string>
#include <string_view>
#include <vector>

/** Conversions between UTF-8, which this program uses, and the encodings of Windows and of files. */

std::wstring wide_of(std::string_view utf8);
std::string utf8_of(std::wstring_view wide);

/** Converts text in an unknown encoding: valid UTF-8 is kept, anything else is decoded as GBK. */
std::string readable(std::string_view text);
std::vector<std::string> readable_texts(std::vector<std::string> texts);

bool is_ascii(std::wstring_view text);

/** Converts to the process's code page; empty if a character cannot be represented. */
std::string in_code_page(std::wstring_view wide);

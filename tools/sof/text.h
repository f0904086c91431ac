#pragma once

#include <string>
#include <string_view>

/** Conversions between UTF-8, which this program uses, and the encodings of Windows and the library. */

std::wstring wide_of(std::string_view utf8);
std::string utf8_of(std::wstring_view wide);

/** Converts the library's GBK text (decoded as GB18030 if the system supports it). */
std::string utf8_of_gbk(std::string_view gbk);

/** Converts text in an unknown encoding: valid UTF-8 is kept, anything else is decoded as GBK. */
std::string readable(std::string_view text);

bool is_ascii(std::wstring_view text);

/** Converts to the process's code page; empty if a character cannot be represented. */
std::string in_code_page(std::wstring_view wide);

/** "0x%08X" */
std::string code_text(unsigned code);

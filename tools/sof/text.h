#pragma once

#include <string>
#include <string_view>

/** Texts between UTF-8, in which this program thinks, and what Windows and the library use. */

std::wstring wide_of(std::string_view utf8);
std::string utf8_of(std::wstring_view wide);

/** The library's GBK, which is GB18030 where the system has it. */
std::string utf8_of_gbk(std::string_view gbk);

/** A text whose encoding is not known: UTF-8 when it is well formed as such, otherwise GBK. */
std::string readable(std::string_view text);

bool is_ascii(std::wstring_view text);

/** In the process's code page; empty when it has no such characters. */
std::string in_code_page(std::wstring_view wide);

/** "0x%08X" */
std::string code_text(unsigned code);

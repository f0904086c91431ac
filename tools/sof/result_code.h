#pragma once

#include <cstdint>
#include <string>

/** "0x%08X" */
std::string code_text(uint32_t code);

/**
 * Text of a result code; empty if it has none. For a code of the signature provider, the text of the
 * library's code that it is mapped to.
 */
std::string meaning_of(uint32_t code);

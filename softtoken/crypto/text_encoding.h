#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velm::token {

/** Returns the length of the first UTF-8 character, 0 if it is malformed. `text` must not be empty. */
size_t utf8_character_length(std::string_view text);

bool is_utf8(std::string_view text);

/**
 * Converts GB18030, a superset of GBK, to UTF-8; returns nullopt if the text is invalid. On Windows systems
 * without GB18030, converts GBK only.
 */
std::optional<std::string> gbk_to_utf8(std::string_view text);

/** Converts text in UTF-8 or GBK to UTF-8; returns it unchanged if it is neither. */
std::string utf8_of(std::string_view text);

}  // namespace velm::token

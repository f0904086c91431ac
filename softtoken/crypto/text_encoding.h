#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velm::token {

bool is_utf8(std::string_view text);

/**
 * A text in GB18030, which GBK is a part of, as UTF-8; nothing when it is none. On a Windows without GB18030,
 * the same for GBK.
 */
std::optional<std::string> gbk_to_utf8(std::string_view text);

/** A text of a client, which is UTF-8 or GBK, as UTF-8; as it stands when it is neither. */
std::string utf8_of(std::string_view text);

}  // namespace velm::token

// The base64 of RFC 4648, for what tests send and expect and for the stand-in modules' default.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velm::test {

std::string base64(std::string_view bytes);

// The bytes; nothing when the text is not base64 with padding. The empty text is no bytes.
std::optional<std::string> from_base64(std::string_view text);

}  // namespace velm::test

// Base64 (RFC 4648) for test data and for the default scripts of the stand-in modules.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velm::test {

std::string base64(std::string_view bytes);

// Returns nullopt unless the text is valid padded base64. An empty text decodes to no bytes.
std::optional<std::string> from_base64(std::string_view text);

}  // namespace velm::test

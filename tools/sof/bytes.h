#pragma once

#include <string>
#include <string_view>

#include "velm_sof.hpp"

namespace sof = velm::sof;

using sof::Bytes;

inline Bytes bytes_of(std::string_view text) { return {text.begin(), text.end()}; }
inline std::string text_of(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

std::string hex_of(const Bytes& bytes);
/** Throws Failure if the text is not hexadecimal. White space is ignored. */
Bytes bytes_of_hex(std::string_view text);
/** Throws velm::sof::Error if the text is not base64. White space is ignored. */
Bytes bytes_of_base64(std::string_view text);

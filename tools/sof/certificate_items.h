#pragma once

#include <optional>
#include <string>

#include "arguments.h"

/** Certificate items of GM/T 0006 whose values are text. */
constexpr NamedNumber kCertificateItems[] = {
    {"version", 0x01},    {"serial_number", 0x02}, {"subject", 0x07},     {"issuer", 0x05},
    {"valid_from", 0x35}, {"valid_until", 0x36},   {"common_name", 0x31}, {"organization", 0x32},
    {"unit", 0x33},       {"email", 0x34}};
constexpr uint32_t kValidUntil = 0x36;

/** Returns an item of a certificate in UTF-8, or nothing if the certificate does not have it. */
std::optional<std::string> certificate_item(const sof::Certificate& certificate, uint32_t number);

/** Whether an item of a certificate can be printed as text. */
bool is_text(std::string_view value);

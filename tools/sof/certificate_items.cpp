#include "certificate_items.h"

#include <algorithm>

#include "text.h"

std::optional<std::string> certificate_item(const sof::Certificate& certificate, uint32_t number) {
  const std::optional<std::string> value = certificate.find_item(number);
  if (!value || value->empty()) return {};
  return readable(*value);
}

bool is_text(std::string_view value) {
  return std::ranges::all_of(value, [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x20 && byte != 0x7F;
  });
}

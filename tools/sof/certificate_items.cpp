#include "certificate_items.h"

#include "library_call.h"
#include "text.h"

std::optional<std::string> certificate_item(const Bytes& certificate, uint32_t item) {
  Bytes value(certificate.size());
  uint32_t length = size_of(value);
  const uint32_t code =
      SOF_GetCertInfo(certificate.data(), size_of(certificate), item, value.data(), &length);
  if (code == SOR_OIDNOTFOUNDERR || code == SOR_PARAMETERNOTSUPPORTERR || code == SOR_DNITEMNOTFOUNDERR)
    return {};
  check("SOF_GetCertInfo", code);
  value.resize(std::min<size_t>(length, value.size()));
  if (value.empty()) return {};
  return readable(text_of(value));
}

bool is_text(const Bytes& bytes) {
  return std::ranges::all_of(bytes, [](uint8_t byte) { return byte >= 0x20 && byte != 0x7F; });
}

#include "certificate_items.h"

#include "library_call.h"
#include "text.h"

std::optional<std::string> certificate_item(const Bytes& certificate, uint32_t item) {
  const auto value =
      fetch_if_any("SOF_GetCertInfo", certificate.size(),
                   {SOR_OIDNOTFOUNDERR, SOR_PARAMETERNOTSUPPORTERR, SOR_DNITEMNOTFOUNDERR},
                   [&](uint8_t* out, uint32_t* length) {
                     return SOF_GetCertInfo(certificate.data(), size_of(certificate), item, out, length);
                   });
  if (!value || value->empty()) return {};
  return readable(text_of(*value));
}

bool is_text(const Bytes& bytes) {
  return std::ranges::all_of(bytes, [](uint8_t byte) { return byte >= 0x20 && byte != 0x7F; });
}

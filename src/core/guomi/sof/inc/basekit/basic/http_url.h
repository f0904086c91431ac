// Splits a request URL into host, port and path.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

namespace velm::xhttp {

struct UrlParts {
  std::wstring host;
  uint16_t port;
  std::wstring path;
};

// Parses the leading decimal number, modulo 2^16. Leading white space and one sign are accepted. Returns 0 if
// there are no digits.
inline uint16_t leading_number(std::wstring_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(L" \t\n\v\f\r"), text.size()));
  const bool negative = text.starts_with(L'-');
  if (negative || text.starts_with(L'+')) text.remove_prefix(1);
  uint32_t number = 0;
  for (wchar_t c : text) {
    if (c < L'0' || c > L'9') break;
    number = number * 10 + static_cast<uint32_t>(c - L'0');
  }
  return static_cast<uint16_t>(negative ? 0 - number : number);
}

// Sic: if the URL contains a scheme anywhere, as many characters as the scheme has are skipped at the start.
// The path is the text after the next "/", without that "/". The port defaults to 80.
inline UrlParts split_url(std::wstring_view url) {
  std::wstring_view rest = url;
  if (url.find(L"http://") != std::wstring_view::npos) {
    rest = url.substr(7);
  } else if (url.find(L"https://") != std::wstring_view::npos) {
    rest = url.substr(8);
  }
  const size_t slash = rest.find(L'/');
  std::wstring_view host = rest.substr(0, slash);
  const std::wstring_view path =
      slash == std::wstring_view::npos ? std::wstring_view{} : rest.substr(slash + 1);
  uint16_t port = 80;
  if (const size_t colon = host.find(L':'); colon != std::wstring_view::npos) {
    port = leading_number(host.substr(colon + 1));
    host = host.substr(0, colon);
  }
  return {std::wstring(host), port, std::wstring(path)};
}

}  // namespace velm::xhttp

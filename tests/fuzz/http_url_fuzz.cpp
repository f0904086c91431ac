// Splitting of request URLs. Each input byte is one character.
#include "basekit/basic/http_url.h"

#include "tests/fuzz/fuzz_target.h"

using namespace velm::xhttp;
using velm::fuzz::expect;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::wstring url(data, data + size);
  const UrlParts parts = split_url(url);
  expect(parts.host.find_first_of(L"/:") == std::wstring::npos, "a host has neither port nor path");
  expect(parts.host.size() + parts.path.size() <= url.size(), "the parts are the URL's");
  expect(parts.path == url.substr(url.size() - parts.path.size()), "the path is the URL's end");
  return 0;
}

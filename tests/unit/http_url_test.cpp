#include "basekit/basic/http_url.h"

#include <gtest/gtest.h>

using velm::xhttp::split_url;

namespace {

struct UrlCase {
  const wchar_t* url;
  const wchar_t* host;
  uint16_t port;
  const wchar_t* path;
};

class HttpUrl : public testing::TestWithParam<UrlCase> {};

TEST_P(HttpUrl, SplitsIntoHostPortAndPath) {
  const auto parts = split_url(GetParam().url);
  EXPECT_EQ(parts.host, GetParam().host);
  EXPECT_EQ(parts.port, GetParam().port);
  EXPECT_EQ(parts.path, GetParam().path);
}

INSTANTIATE_TEST_SUITE_P(
    Urls, HttpUrl,
    testing::Values(
        UrlCase{L"http://127.0.0.1:55661", L"127.0.0.1", 55661, L""},
        UrlCase{L"http://host/a/b", L"host", 80, L"a/b"}, UrlCase{L"https://host/a", L"host", 80, L"a"},
        UrlCase{L"https://host:8443", L"host", 8443, L""}, UrlCase{L"host:81/x", L"host", 81, L"x"},
        UrlCase{L"host", L"host", 80, L""}, UrlCase{L"", L"", 80, L""}, UrlCase{L"host:/x", L"host", 0, L"x"},
        UrlCase{L"host:65537", L"host", 1, L""}, UrlCase{L"h: 81", L"h", 81, L""},
        UrlCase{L"h:\t\r\n\v\f 81/x", L"h", 81, L"x"}, UrlCase{L"h:+81", L"h", 81, L""},
        UrlCase{L"h:-1", L"h", 65535, L""}, UrlCase{L"h:-65537", L"h", 65535, L""},
        UrlCase{L"h:+-81", L"h", 0, L""}, UrlCase{L"h:- 81", L"h", 0, L""},
        UrlCase{L"h:81x82", L"h", 81, L""}, UrlCase{L"h: ", L"h", 0, L""}, UrlCase{L"h:", L"h", 0, L""},
        UrlCase{L"/path", L"", 80, L"path"},
        // Sic: the scheme is searched for anywhere, but its length is skipped at the start.
        UrlCase{L"1234567host/http://", L"host", 80, L"http://"}, UrlCase{L"a/http://", L"", 80, L"/"}));

}  // namespace

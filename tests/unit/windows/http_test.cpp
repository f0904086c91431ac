// Arguments of the transport that the library does not use.
#include "basekit/basic/http.h"

#include <gmock/gmock.h>

#include <clocale>
#include <fstream>

#include "support/import_patch.h"

using namespace velm;
using testing::HasSubstr;

namespace {

// The arguments of the system calls of the last exchange, which fails when it sends the request.
struct Seen {
  std::wstring agent, host, path, headers, proxy, bypass;
  INTERNET_PORT port = 0;
  bool has_headers = false;
  bool has_proxy = false;
  bool refuse_proxy = false;
} seen;

HINTERNET some_handle() { return reinterpret_cast<HINTERNET>(uintptr_t{0x10}); }

HINTERNET WINAPI open_session(LPCWSTR agent, DWORD, LPCWSTR, LPCWSTR, DWORD) {
  if (agent) seen.agent = agent;
  return some_handle();
}
BOOL WINAPI set_timeouts(HINTERNET, int, int, int, int) { return TRUE; }
BOOL WINAPI set_option(HINTERNET, DWORD option, LPVOID value, DWORD) {
  if (option != WINHTTP_OPTION_PROXY) return TRUE;
  const auto* info = static_cast<const WINHTTP_PROXY_INFO*>(value);
  EXPECT_EQ(info->dwAccessType, DWORD{WINHTTP_ACCESS_TYPE_NAMED_PROXY});
  seen.has_proxy = true;
  seen.proxy = info->lpszProxy;
  seen.bypass = info->lpszProxyBypass;
  SetLastError(87);
  return !seen.refuse_proxy;
}
HINTERNET WINAPI connect_to(HINTERNET, LPCWSTR host, INTERNET_PORT port, DWORD) {
  seen.host = host;
  seen.port = port;
  return some_handle();
}
HINTERNET WINAPI open_request(HINTERNET, LPCWSTR, LPCWSTR path, LPCWSTR, LPCWSTR, LPCWSTR*, DWORD) {
  seen.path = path;
  return some_handle();
}
BOOL WINAPI send_request(HINTERNET, LPCWSTR headers, DWORD length, LPVOID, DWORD, DWORD, DWORD_PTR) {
  seen.has_headers = headers != nullptr;
  if (headers) seen.headers.assign(headers, length);
  SetLastError(ERROR_WINHTTP_TIMEOUT);
  return FALSE;
}
BOOL WINAPI close_handle(HINTERNET) { return TRUE; }

class Http : public testing::Test {
 protected:
  Http() {
    seen = {};
    char folder[MAX_PATH];
    GetTempPathA(sizeof folder, folder);
    path_ = std::string(folder) + "velm_http_test.log";
    std::remove(path_.c_str());
    log::configuration = {};
    log::configuration.field_mask = 0;
    path_.copy(log::configuration.file_path, log::kPathCharacters - 1);
  }
  ~Http() override { log::configuration = {}; }

  std::string log_text() const {
    std::ifstream file(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  HMODULE self = GetModuleHandleW(nullptr);
  test::ImportPatch open{self, "winhttp.dll", "WinHttpOpen", open_session};
  test::ImportPatch timeouts{self, "winhttp.dll", "WinHttpSetTimeouts", set_timeouts};
  test::ImportPatch option{self, "winhttp.dll", "WinHttpSetOption", set_option};
  test::ImportPatch connect{self, "winhttp.dll", "WinHttpConnect", connect_to};
  test::ImportPatch request{self, "winhttp.dll", "WinHttpOpenRequest", open_request};
  test::ImportPatch send{self, "winhttp.dll", "WinHttpSendRequest", send_request};
  test::ImportPatch close{self, "winhttp.dll", "WinHttpCloseHandle", close_handle};
  std::string path_;
  uint32_t length_ = 0;
};

TEST_F(Http, WithoutTypeAndCharacterSetThereIsNoHeader) {
  const auto* none = static_cast<const wchar_t*>(nullptr);
  EXPECT_EQ(xhttp::xhttp_request_w(L"http://h/p", "", 0, none, none, none, none, nullptr, &length_), -10);
  EXPECT_FALSE(seen.has_headers);
  EXPECT_FALSE(seen.has_proxy);
  EXPECT_EQ(seen.agent, L"");
  EXPECT_EQ(seen.host, L"h");
  EXPECT_EQ(seen.path, L"p");
  EXPECT_EQ(seen.port, 80);
}

TEST_F(Http, HeaderPartsAreIndependent) {
  xhttp::xhttp_request_w(L"h", "", 0, L"a/b", nullptr, nullptr, nullptr, nullptr, &length_);
  EXPECT_EQ(seen.headers, L"Content-Type:a/b;");
  xhttp::xhttp_request_w(L"h", "", 0, nullptr, nullptr, L"UTF-8", L"agent", nullptr, &length_);
  EXPECT_EQ(seen.headers, L"charset=UTF-8;");
  EXPECT_EQ(seen.agent, L"agent");
}

TEST_F(Http, PostHasCharacterSetAndOptionalType) {
  EXPECT_EQ(xhttp::post("http://127.0.0.1:55661", "x", 1, "application/octet-stream", nullptr, &length_),
            -10);
  EXPECT_EQ(seen.headers, L"Content-Type:application/octet-stream;charset=UTF-8;");
  EXPECT_THAT(log_text(), HasSubstr("xhttp_request_w->WinHttpSendRequest wszHeader "
                                    "[Content-Type:application/octet-stream;charset=UTF-8;] req_data_len:[1] "
                                    "LastError:12002"));
  xhttp::post("http://127.0.0.1:55661", "x", 1, nullptr, nullptr, &length_);
  EXPECT_EQ(seen.headers, L"charset=UTF-8;");
}

TEST_F(Http, ProxyIsBypassedLocally) {
  xhttp::xhttp_request_w(L"h", "", 0, nullptr, L"proxy:8080", nullptr, nullptr, nullptr, &length_);
  EXPECT_EQ(seen.proxy, L"proxy:8080");
  EXPECT_EQ(seen.bypass, L"<local>");
}

TEST_F(Http, RefusedProxyFails) {
  seen.refuse_proxy = true;
  EXPECT_EQ(xhttp::xhttp_request_w(L"h", "", 0, nullptr, L"proxy", nullptr, nullptr, nullptr, &length_), -1);
  EXPECT_EQ(log_text(), "] xhttp_request_w->WinHttpSetOption[WINHTTP_OPTION_PROXY] 87\r\n");
}

TEST_F(Http, TextsAboveTheirLimitsAreRefused) {
  const std::string longest_url(1023, 'u'), longest_type(127, 't');
  EXPECT_EQ(xhttp::post(longest_url.c_str(), "", 0, longest_type.c_str(), nullptr, &length_), -10);
  EXPECT_EQ(seen.host, std::wstring(1023, L'u'));
  seen = {};
  EXPECT_EQ(xhttp::post((longest_url + "u").c_str(), "", 0, "t", nullptr, &length_), -1);
  EXPECT_EQ(xhttp::post("u", "", 0, (longest_type + "t").c_str(), nullptr, &length_), -1);
  EXPECT_EQ(seen.host, L"");
}

constexpr char kBeyondAscii[] = "http://h\x80/";

TEST_F(Http, NonAsciiTextIsConvertedInTheUserLocale) {
  EXPECT_EQ(xhttp::post(kBeyondAscii, "", 0, nullptr, nullptr, &length_), -10);
  wchar_t host[8] = {};
  ASSERT_NE(MultiByteToWideChar(CP_ACP, 0, "h\x80", -1, host, 8), 0);
  EXPECT_EQ(seen.host, host);
  EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
}

size_t WINAPIV cannot_widen(wchar_t*, const char*, size_t) { return static_cast<size_t>(-1); }

TEST_F(Http, UnconvertibleTextFailsWithoutALogLine) {
  const test::ImportPatch widen(self, "msvcrt.dll", "mbstowcs", cannot_widen);
  EXPECT_EQ(xhttp::post(kBeyondAscii, "", 0, nullptr, nullptr, &length_), -1);
  EXPECT_EQ(seen.host, L"");
  EXPECT_EQ(log_text(), "");
  EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
}

}  // namespace

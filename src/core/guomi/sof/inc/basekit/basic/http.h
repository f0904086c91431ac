// HTTP POST to the local service. The whole response body is stored in the caller's buffer.
#pragma once

#include <windows.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <string>

#include "basekit/basic/bounded_body.h"
#include "basekit/basic/http_url.h"
#include "basekit/basic/log.h"
#include "winhttp/exchange.h"

namespace velm::xhttp {

enum Result : int32_t { kDone = 0, kFailed = -1, kTimedOut = -10, kCannotConnect = -57 };

constexpr int kTimeoutMilliseconds = 10'000;

inline constinit log::Unit log_unit{R"(..\..\src\core\guomi\sof\inc\basekit\basic\http.h)"};

inline int32_t failed(int line, const char* function) {
  log::write(log_unit, log::kError, line, "xhttp_request_w->%s %u\n", function,
             static_cast<unsigned>(GetLastError()));
  return kFailed;
}

inline std::wstring header_text(const wchar_t* content_type, const wchar_t* charset) {
  std::wstring text;
  if (content_type) text += std::wstring(L"Content-Type:") + content_type + L";";
  if (charset) text += std::wstring(L"charset=") + charset + L";";
  return text;
}

// Sends one request and reads the response. `proxy`, `charset`, `agent` and `content_type` may be null.
// In: *response_length is the size of `response`. Out: the number of bytes received, which exceeds that size
// if the response did not fit.
inline int32_t xhttp_request_w(const wchar_t* url, const void* data, uint32_t data_length,
                               const wchar_t* content_type, const wchar_t* proxy, const wchar_t* charset,
                               const wchar_t* agent, void* response, uint32_t* response_length) {
  winhttp::Exchange exchange;
  if (!exchange.open_session(agent, WINHTTP_ACCESS_TYPE_DEFAULT_PROXY))
    return failed(__LINE__, "WinHttpOpen");
  if (!exchange.set_timeouts({0, kTimeoutMilliseconds, kTimeoutMilliseconds, kTimeoutMilliseconds}))
    return failed(__LINE__, "WinHttpSetTimeouts");
  if (proxy && !exchange.set_proxy(proxy)) return failed(__LINE__, "WinHttpSetOption[WINHTTP_OPTION_PROXY]");

  const UrlParts parts = split_url(url);
  const std::wstring header = header_text(content_type, charset);

  if (!exchange.connect(parts.host, parts.port)) return failed(__LINE__, "WinHttpConnect");
  if (!exchange.open_post(parts.path)) {
    log::write_wide(log_unit, log::kError, __LINE__, L"xhttp_request_w->WinHttpOpenRequest %u [%s][%s]\n",
                    static_cast<unsigned>(GetLastError()), parts.path.c_str(), parts.host.c_str());
    return kFailed;
  }
  if (!exchange.send(header, data, data_length)) {
    const DWORD error = GetLastError();
    log::write_wide(log_unit, log::kError, __LINE__,
                    L"xhttp_request_w->WinHttpSendRequest wszHeader [%s] req_data_len:[%u] LastError:%u\n",
                    header.c_str(), data_length, static_cast<unsigned>(error));
    if (error == ERROR_WINHTTP_TIMEOUT) return kTimedOut;
    if (error == ERROR_WINHTTP_CANNOT_CONNECT) return kCannotConnect;
    return kFailed;
  }
  if (!exchange.receive_head()) return failed(__LINE__, "WinHttpReceiveResponse");

  BoundedBody body(response, *response_length);
  exchange.read_body(body);  // Sic: a read error ends the body.
  *response_length = body.length();
  return kDone;
}

inline bool is_ascii(const char* text) {
  return std::all_of(text, text + std::strlen(text),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Converts a text to wide characters in the user's locale. fits() is false if the result is longer than
// `limit` characters or the text cannot be converted. The process may be left in the user's locale.
template <size_t limit>
class Widened {
 public:
  explicit Widened(const char* text) {
    // ASCII converts the same way in every locale. Skip setlocale(): it dominates the cost of a small call.
    if (!is_ascii(text)) std::setlocale(LC_ALL, "");
    const size_t length = std::mbstowcs(nullptr, text, limit);
    fits_ = length <= limit;
    if (fits_) std::mbstowcs(area_.data(), text, limit);
  }

  bool fits() const { return fits_; }
  const wchar_t* text() const { return area_.data(); }

 private:
  std::array<wchar_t, limit + 1> area_{};
  bool fits_;
};

// Converts the texts to wide characters and sends the request. Sets the process's locale to "C".
// `content_type` may be null. Returns 0 or a negative value. Every failure is logged here, except that of a
// text that cannot be converted.
inline int32_t post(const char* url, const void* data, uint32_t data_length, const char* content_type,
                    void* response, uint32_t* response_length) {
  const Widened<1023> wide_url(url);
  const Widened<127> wide_content_type(content_type ? content_type : "");
  const Widened<15> wide_charset("UTF-8");
  std::setlocale(LC_ALL, "C");
  if (!wide_url.fits() || !wide_content_type.fits() || !wide_charset.fits()) return kFailed;
  return xhttp_request_w(wide_url.text(), data, data_length,
                         content_type ? wide_content_type.text() : nullptr, nullptr, wide_charset.text(),
                         nullptr, response, response_length);
}

}  // namespace velm::xhttp

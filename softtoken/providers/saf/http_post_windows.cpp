#include <windows.h>
#include <winhttp.h>

#include <memory>

#include "softtoken/providers/saf/http_post.h"
#include "softtoken/providers/saf/saf_call.h"

namespace velm::token {

using namespace protocol;

namespace {

struct InternetCloser {
  void operator()(HINTERNET handle) const { WinHttpCloseHandle(handle); }
};
using InternetHandle = std::unique_ptr<void, InternetCloser>;

void require_http(bool done) {
  if (done) return;
  const DWORD error = GetLastError();
  // Some systems report the socket error itself.
  const bool late = error == ERROR_WINHTTP_TIMEOUT || error == WSAETIMEDOUT;
  throw SafError(late ? kSafHttpTimeout : kSafHttpFailed);
}

InternetHandle require_handle(HINTERNET handle) {
  require_http(handle != nullptr);
  return InternetHandle(handle);
}

// Only for hosts, paths and content types, which are ASCII.
std::wstring widened(const std::string& text) { return {text.begin(), text.end()}; }

DWORD status_of(HINTERNET request) {
  DWORD status = 0;
  DWORD size = sizeof status;
  require_http(WinHttpQueryHeaders(request, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                                   WINHTTP_HEADER_NAME_BY_INDEX, &status, &size, WINHTTP_NO_HEADER_INDEX));
  return status;
}

SecretBytes body_of(HINTERNET request) {
  SecretBytes body;
  while (true) {
    const size_t before = body.size();
    body.resize(before + 64 * 1024);
    DWORD count = 0;
    require_http(
        WinHttpReadData(request, body.data() + before, static_cast<DWORD>(body.size() - before), &count));
    body.resize(before + count);
    require_saf(body.size() <= kMaxHttpBody, kSafHttpFailed);
    if (count == 0) return body;
  }
}

}  // namespace

SecretBytes http_post(const HttpPost& post) {
  const InternetHandle session = require_handle(WinHttpOpen(
      L"velm_client_saf", WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0));
  const auto connect_timeout = static_cast<int>(post.connect_timeout.count());
  auto answer_timeout = static_cast<int>(post.answer_timeout.count());
  require_http(
      WinHttpSetTimeouts(session.get(), connect_timeout, connect_timeout, answer_timeout, answer_timeout));
  const InternetHandle connection = require_handle(
      WinHttpConnect(session.get(), widened(post.endpoint.host).c_str(), post.endpoint.port, 0));
  const InternetHandle request =
      require_handle(WinHttpOpenRequest(connection.get(), L"POST", widened(post.path).c_str(), nullptr,
                                        WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES, 0));
  // Without this option, some systems wait for the first byte of the answer without a timeout.
  WinHttpSetOption(request.get(), WINHTTP_OPTION_RECEIVE_RESPONSE_TIMEOUT, &answer_timeout,
                   sizeof answer_timeout);
  const std::wstring header = L"Content-Type: " + widened(post.content_type);
  const auto size = static_cast<DWORD>(post.body.size());
  require_http(WinHttpSendRequest(request.get(), header.c_str(), static_cast<DWORD>(header.size()),
                                  const_cast<uint8_t*>(post.body.data()), size, size, 0));
  require_http(WinHttpReceiveResponse(request.get(), nullptr));
  require_saf(status_of(request.get()) == HTTP_STATUS_OK, kSafHttpFailed);
  return body_of(request.get());
}

}  // namespace velm::token

// One POST request through WinHTTP, step by step. Each step returns whether it succeeded; GetLastError()
// tells why not. Callers decide about logs, codes and the memory that receives the response.
#pragma once

#include <windows.h>
#include <winhttp.h>

#include <cstdint>
#include <string>

namespace velm::winhttp {

/** In milliseconds; 0 is no limit. */
struct Timeouts {
  int resolve;
  int connect;
  int send;
  int receive;
};

class Exchange {
 public:
  Exchange() = default;
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;
  /** Closes the handles in the order in which they were opened. */
  ~Exchange() {
    for (HINTERNET handle : {session_, connection_, request_}) {
      if (handle) WinHttpCloseHandle(handle);
    }
  }

  /** @param agent May be null.
   *  @param access_type WINHTTP_ACCESS_TYPE_... */
  bool open_session(const wchar_t* agent, DWORD access_type) {
    session_ = WinHttpOpen(agent, access_type, WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0);
    return session_ != nullptr;
  }

  bool set_timeouts(const Timeouts& limits) {
    if (!WinHttpSetTimeouts(session_, limits.resolve, limits.connect, limits.send, limits.receive))
      return false;
    // WinHttpSetTimeouts() does not limit the wait for the response headers. Failure is ignored: the system's
    // default limit then applies.
    auto receive = static_cast<DWORD>(limits.receive);
    WinHttpSetOption(session_, WINHTTP_OPTION_RECEIVE_RESPONSE_TIMEOUT, &receive, sizeof receive);
    return true;
  }

  bool set_proxy(std::wstring proxy) {
    std::wstring bypass = L"<local>";
    WINHTTP_PROXY_INFO info{WINHTTP_ACCESS_TYPE_NAMED_PROXY, proxy.data(), bypass.data()};
    return WinHttpSetOption(session_, WINHTTP_OPTION_PROXY, &info, sizeof info);
  }

  bool connect(const std::wstring& host, INTERNET_PORT port) {
    connection_ = WinHttpConnect(session_, host.c_str(), port, 0);
    return connection_ != nullptr;
  }

  bool open_post(const std::wstring& path) {
    request_ = WinHttpOpenRequest(connection_, L"POST", path.c_str(), nullptr, WINHTTP_NO_REFERER,
                                  WINHTTP_DEFAULT_ACCEPT_TYPES, 0);
    if (!request_) return false;
    // A program that took the service's port could redirect the request to another address, or ask for
    // credentials of the user. A failure to set the option is ignored.
    DWORD features = WINHTTP_DISABLE_REDIRECTS | WINHTTP_DISABLE_AUTHENTICATION | WINHTTP_DISABLE_COOKIES;
    WinHttpSetOption(request_, WINHTTP_OPTION_DISABLE_FEATURE, &features, sizeof features);
    return true;
  }

  bool send(const std::wstring& header, const void* body, DWORD length) {
    // WinHTTP only reads the body, although the parameter is not const.
    return WinHttpSendRequest(request_, header.empty() ? WINHTTP_NO_ADDITIONAL_HEADERS : header.c_str(),
                              static_cast<DWORD>(header.size()), const_cast<void*>(body), length, length, 0);
  }

  bool receive_head() { return WinHttpReceiveResponse(request_, nullptr); }

  bool read_status(DWORD& status) {
    DWORD size = sizeof status;
    return WinHttpQueryHeaders(request_, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                               WINHTTP_HEADER_NAME_BY_INDEX, &status, &size, WINHTTP_NO_HEADER_INDEX);
  }

  /**
   * Reads the whole body. `sink.room(count)` returns where the next `count` bytes are written, and
   * `sink.received(count)` takes the bytes that were.
   */
  template <class Sink>
  bool read_body(Sink& sink) {
    DWORD available = 0;
    while (WinHttpQueryDataAvailable(request_, &available)) {
      if (available == 0) return true;
      DWORD count = 0;
      if (!WinHttpReadData(request_, sink.room(available), available, &count)) return false;
      if (count == 0) return true;
      sink.received(count);
    }
    return false;
  }

 private:
  HINTERNET session_ = nullptr;
  HINTERNET connection_ = nullptr;
  HINTERNET request_ = nullptr;
};

}  // namespace velm::winhttp

// A POST request to the local service, as an application would write it with WinHTTP.
#pragma once

#include <windows.h>
#include <winhttp.h>

#include <cstdint>
#include <span>

#include "bench/measurement.h"
#include "protocol/endpoint.h"

namespace velm::bench {

// Returns the part of `answer` that was received.
inline std::span<char> exchange_with_winhttp(const wchar_t* header, std::span<char> body,
                                             std::span<char> answer) {
  constexpr int kTimeout = 10'000;
  const HINTERNET session = WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, WINHTTP_NO_PROXY_NAME,
                                        WINHTTP_NO_PROXY_BYPASS, 0);
  WinHttpSetTimeouts(session, 0, kTimeout, kTimeout, kTimeout);
  DWORD timeout = kTimeout;
  WinHttpSetOption(session, WINHTTP_OPTION_RECEIVE_RESPONSE_TIMEOUT, &timeout, sizeof timeout);
  const HINTERNET connection = WinHttpConnect(session, L"127.0.0.1", protocol::kServicePort, 0);
  const HINTERNET request = WinHttpOpenRequest(connection, L"POST", L"", nullptr, WINHTTP_NO_REFERER,
                                               WINHTTP_DEFAULT_ACCEPT_TYPES, 0);
  const auto length = static_cast<DWORD>(body.size());
  require(WinHttpSendRequest(request, header, static_cast<DWORD>(-1), body.data(), length, length, 0) &&
              WinHttpReceiveResponse(request, nullptr),
          "the exchange failed");

  size_t total = 0;
  for (DWORD available = 0; WinHttpQueryDataAvailable(request, &available) && available != 0;) {
    DWORD received = 0;
    require(available <= answer.size() - total &&
                WinHttpReadData(request, answer.data() + total, available, &received),
            "the answer cannot be read");
    total += received;
  }
  WinHttpCloseHandle(session);
  WinHttpCloseHandle(connection);
  WinHttpCloseHandle(request);
  return answer.first(total);
}

}  // namespace velm::bench

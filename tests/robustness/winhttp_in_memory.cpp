#include "robustness/winhttp_in_memory.h"

#include <winhttp.h>

#include <algorithm>
#include <cstring>

namespace velm::test {
namespace {

struct Exchange {
  std::string body;
  HttpFault fault = HttpFault::kNone;
  RandomSource* random = nullptr;
  bool used = false;
  bool answered = false;
  size_t read = 0;
  size_t handles = 0;
} exchange;

// Handles are never dereferenced, so any address will do.
HINTERNET handle_unless(HttpFault fault) {
  if (exchange.fault == fault) {
    SetLastError(ERROR_WINHTTP_INTERNAL_ERROR);
    return nullptr;
  }
  ++exchange.handles;
  return &exchange;
}

BOOL done_unless(HttpFault fault) {
  if (exchange.fault != fault) return TRUE;
  SetLastError(exchange.random->one_in(2) ? ERROR_WINHTTP_TIMEOUT : ERROR_WINHTTP_CANNOT_CONNECT);
  return FALSE;
}

HINTERNET WINAPI open_session(LPCWSTR, DWORD, LPCWSTR, LPCWSTR, DWORD) {
  exchange.used = true;
  return handle_unless(HttpFault::kOpen);
}

BOOL WINAPI set_timeouts(HINTERNET, int, int, int, int) { return done_unless(HttpFault::kTimeouts); }

BOOL WINAPI set_option(HINTERNET, DWORD, LPVOID, DWORD) { return TRUE; }

HINTERNET WINAPI connect(HINTERNET, LPCWSTR, INTERNET_PORT, DWORD) {
  return handle_unless(HttpFault::kConnect);
}

HINTERNET WINAPI open_request(HINTERNET, LPCWSTR, LPCWSTR, LPCWSTR, LPCWSTR, LPCWSTR*, DWORD) {
  return handle_unless(HttpFault::kRequest);
}

BOOL WINAPI send_request(HINTERNET, LPCWSTR, DWORD, LPVOID, DWORD, DWORD, DWORD_PTR) {
  return done_unless(HttpFault::kSend);
}

BOOL WINAPI receive_response(HINTERNET, LPVOID) {
  exchange.answered = done_unless(HttpFault::kReceive);
  return exchange.answered;
}

size_t left() { return exchange.body.size() - exchange.read; }

// Reports the available size, sometimes far too large: the library then requests more than it receives.
BOOL WINAPI query_data(HINTERNET, LPDWORD available) {
  if (exchange.fault == HttpFault::kQuery && exchange.random->one_in(2)) return FALSE;
  if (left() == 0 || exchange.random->one_in(3)) {
    *available = static_cast<DWORD>(left());
  } else if (exchange.random->one_in(200)) {
    *available = static_cast<DWORD>(left() + exchange.random->below(3 << 20));
  } else {
    *available = static_cast<DWORD>(1 + exchange.random->below(left()));
  }
  return TRUE;
}

// Returns as much as requested, or less.
BOOL WINAPI read_data(HINTERNET, LPVOID buffer, DWORD length, LPDWORD received) {
  if (exchange.fault == HttpFault::kRead && exchange.random->one_in(2)) return FALSE;
  size_t count = std::min<size_t>(length, left());
  if (exchange.random->one_in(8)) count = 1 + exchange.random->below(count);
  std::memcpy(buffer, exchange.body.data() + exchange.read, count);
  exchange.read += count;
  *received = static_cast<DWORD>(count);
  return TRUE;
}

BOOL WINAPI close_handle(HINTERNET) {
  --exchange.handles;
  return TRUE;
}

}  // namespace

WinHttpInMemory::WinHttpInMemory(HMODULE library) {
  const auto replace = [&](const char* function, auto* replacement) {
    patches_.push_back(std::make_unique<ImportPatch>(library, "winhttp.dll", function, replacement));
  };
  replace("WinHttpOpen", open_session);
  replace("WinHttpSetTimeouts", set_timeouts);
  replace("WinHttpSetOption", set_option);
  replace("WinHttpConnect", connect);
  replace("WinHttpOpenRequest", open_request);
  replace("WinHttpSendRequest", send_request);
  replace("WinHttpReceiveResponse", receive_response);
  replace("WinHttpQueryDataAvailable", query_data);
  replace("WinHttpReadData", read_data);
  replace("WinHttpCloseHandle", close_handle);
}

WinHttpInMemory::~WinHttpInMemory() { exchange = {}; }

void WinHttpInMemory::serve(std::string body, HttpFault fault, RandomSource& random) {
  exchange = {.body = std::move(body), .fault = fault, .random = &random};
}

bool WinHttpInMemory::was_used() const { return exchange.used; }
bool WinHttpInMemory::has_answered() const { return exchange.answered; }
std::string WinHttpInMemory::received() const { return exchange.body.substr(0, exchange.read); }
size_t WinHttpInMemory::handles_left() const { return exchange.handles; }

}  // namespace velm::test

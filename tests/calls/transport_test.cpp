// The HTTP exchange as the service sees it, and with system calls that fail.
#include <winsock2.h>
#include <windows.h>
#include <winhttp.h>

#include <algorithm>
#include <clocale>
#include <cstring>
#include <thread>
#include <utility>

#include "support/allocation_faults.h"
#include "support/client_test.h"
#include "support/guarded_buffer.h"
#include "support/handle_count.h"
#include "support/import_patch.h"
#include "support/settled_memory.h"

using namespace velm::test;
using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::Eq;
using testing::IsEmpty;

namespace {

const char kSuccess[] = R"({"ErrorCode":"0"})";
const char kSendLine[] =
    "xhttp_request_w->WinHttpSendRequest wszHeader [Content-Type:application/json;charset=UTF-8;] "
    "req_data_len:[13] LastError:";

class Transport : public ClientTest {};

TEST_F(Transport, SendsOnePostWithOneContentType) {
  service.answers(json(kSuccess));
  EXPECT_EQ(library.SOF_Initialize(), SOR_OK);
  const Request request = service.take_request();
  EXPECT_EQ(request.line, "POST / HTTP/1.1");
  EXPECT_EQ(request.header("Content-Type"), "application/json;charset=UTF-8;");
  EXPECT_EQ(request.header_count("Content-Type"), 1u);
  EXPECT_EQ(request.header("Host"), "127.0.0.1:55661");
  EXPECT_EQ(request.header("Content-Length"), "13");
  EXPECT_EQ(request.body, R"({"funcid":58})");
}

TEST_F(Transport, AcceptsTheBodyInAnyFraming) {
  const std::function<Answer()> ways[] = {
      [] { return json(kSuccess); },
      [] { return json(kSuccess).chunked(3); },
      [] { return json(kSuccess).split(4, 20ms); },
      [] { return json(kSuccess).chunked(5).split(3, 10ms); },
      [] { return json(kSuccess).slowly(1ms); },
      [] { return json(kSuccess).after(300ms); },
      [] { return json(kSuccess).status(500); },
      [] { return json(kSuccess).status(404); },
  };
  int way = 0;
  for (const auto& answer : ways) {
    service.answers(answer());
    EXPECT_EQ(library.SOF_Initialize(), SOR_OK) << way;
    ++way;
  }
}

// A program that took the port must not have a PIN sent to another address.
TEST_F(Transport, FollowsNoRedirect) {
  for (const int status : {301, 302, 303, 307, 308}) {
    service.answers(json(R"({"ErrorCode":"B000438"})")
                        .status(status)
                        .header("Location", "http://127.0.0.1:55661/elsewhere"));
    EXPECT_EQ(library.SOF_Login("C1", "12345678"), SOR_NOTLOGINERR) << status;
    EXPECT_EQ(service.take_request().line, "POST / HTTP/1.1");
  }
  EXPECT_EQ(service.requests().size(), 5u);
}

TEST_F(Transport, SendsNoCredentialsAndNoCookies) {
  for (const char* scheme : {"Negotiate", "NTLM", "Basic realm=\"a\"", "Digest realm=\"a\", nonce=\"b\""}) {
    service.answers(json(R"({"ErrorCode":"B000438"})")
                        .status(401)
                        .header("WWW-Authenticate", scheme)
                        .header("Set-Cookie", "a=b"));
    EXPECT_EQ(library.SOF_Initialize(), SOR_NOTLOGINERR) << scheme;
    const Request request = service.take_request();
    EXPECT_EQ(request.header_count("Authorization"), 0u);
    EXPECT_EQ(request.header_count("Cookie"), 0u);
  }
  EXPECT_EQ(service.requests().size(), 4u);
}

TEST_F(Transport, AnEmptyBodyIsAnEmptyAnswer) {
  service.answers(json(""), json("").status(500));
  for (int i = 0; i < 2; ++i) {
    LogReader::clear();
    EXPECT_EQ(library.SOF_Initialize(), SOR_JSONPARSEERR);
    EXPECT_THAT(log.errors(), ElementsAre("SOF_Initialize->cJSON_Parse []"));
  }
}

TEST_F(Transport, TruncatedBodyIsParsedAsReceived) {
  service.answers(json(kSuccess).cut_after(5),
                  json(std::string(kSuccess) + "    ").cut_after(std::strlen(kSuccess)));
  EXPECT_EQ(library.SOF_Initialize(), SOR_JSONPARSEERR);
  EXPECT_THAT(log.errors(), ElementsAre(R"(SOF_Initialize->cJSON_Parse [{"Err])"));
  EXPECT_EQ(library.SOF_Initialize(), SOR_OK);
}

TEST_F(Transport, AConnectionClosedWithoutAnAnswerFails) {
  service.answers(Answer::nothing());
  EXPECT_EQ(library.SOF_Initialize(), SOR_COMMUNICATIONERR);
  ASSERT_EQ(log.errors().size(), 2u);
  EXPECT_THAT(log.errors()[0], testing::StartsWith("xhttp_request_w->WinHttpReceiveResponse "));
  EXPECT_EQ(log.errors()[1], "SOF_Initialize->post_json xrv = -1");
}

TEST_F(Transport, HugeAnswerIsReadAndRefused) {
  service.answers(json(std::string(3 << 20, 'x')), json(kSuccess));
  EXPECT_EQ(library.SOF_Initialize(), SOR_JSONPARSEERR);
  EXPECT_THAT(log.errors(), ElementsAre("SOF_Initialize->cJSON_Parse []"));
  EXPECT_EQ(library.SOF_Initialize(), SOR_OK);
}

TEST_F(Transport, TimesOutAfterTenSeconds) {
  service.answers(Answer::nothing(14s));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(library.SOF_Initialize(), SOR_COMMUNICATIONERR);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, 9900ms);
  EXPECT_LE(waited, 12s);
  EXPECT_THAT(log.errors(), Contains("SOF_Initialize->post_json xrv = -1"));
}

TEST_F(Transport, ManyThreadsEachGetTheirOwnAnswer) {
  service.responds([](const Request& request) {
    const bool version = request.body == R"({"funcid":0})";
    return json(version ? R"({"ErrorCode":"0","Result":{"Version":"7"}})" : R"({"ErrorCode":"B000438"})");
  });
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 16; ++i) {
    threads.emplace_back([&, i] {
      for (int n = 0; n < 20; ++n) {
        char version[128] = {};
        if (i % 2) {
          if (library.SOF_GetVersion(version) != SOR_OK || std::strcmp(version, "7") != 0) ++wrong;
        } else if (library.SOF_Initialize() != SOR_NOTLOGINERR) {
          ++wrong;
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

TEST_F(Transport, SetsTheCLocale) {
  service.answers(json(kSuccess));
  std::setlocale(LC_ALL, "");
  library.SOF_Initialize();
  EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
}

class NothingListening : public testing::Test {
 protected:
  Standins standins;
  ClientLibrary library;
  LogReader log;
};

TEST_F(NothingListening, IsReportedWithItsErrorNumber) {
  EXPECT_EQ(library.SOF_Initialize(), 0x0B000445u);
  EXPECT_THAT(log.errors(),
              ElementsAre(std::string(kSendLine) + "12029", "SOF_Initialize->post_json xrv = -57"));
}

TEST_F(NothingListening, EachCallHasItsOwnLogLine) {
  char version[128];
  uint8_t random[4];
  EXPECT_EQ(library.SOF_Finalize(), SOR_COMMUNICATIONERR);
  EXPECT_EQ(library.SOF_GetVersion(version), SOR_COMMUNICATIONERR);
  EXPECT_EQ(library.SOF_GenRandom(4, random), SOR_COMMUNICATIONERR);
  EXPECT_THAT(log.errors(), testing::IsSupersetOf({"SOF_Finalize->post_json xrv = -57",
                                                   "SOF_GetVersion->post_json xrv = -57",
                                                   "SOF_GenRandom->post_json xrv = -57"}));
}

// Records the system calls of one exchange and lets one of them fail.
struct Recorded {
  std::vector<std::string> order;
  std::vector<HINTERNET> opened, closed;
  std::string failing;
  DWORD error = 0;
} recorded;

Recorded failing(const char* call, DWORD error) {
  Recorded fresh;
  fresh.failing = call;
  fresh.error = error;
  return fresh;
}

bool fails(const char* call) {
  recorded.order.push_back(call);
  if (recorded.failing != call) return false;
  SetLastError(recorded.error);
  return true;
}

HINTERNET opened(HINTERNET handle) {
  recorded.opened.push_back(handle);
  return handle;
}

HINTERNET WINAPI open_session(LPCWSTR agent, DWORD access, LPCWSTR proxy, LPCWSTR bypass, DWORD flags) {
  EXPECT_EQ(agent, nullptr);
  EXPECT_EQ(access, DWORD{WINHTTP_ACCESS_TYPE_DEFAULT_PROXY});
  EXPECT_EQ(proxy, nullptr);
  EXPECT_EQ(bypass, nullptr);
  EXPECT_EQ(flags, 0u);
  return fails("WinHttpOpen") ? nullptr : opened(WinHttpOpen(agent, access, proxy, bypass, flags));
}
BOOL WINAPI set_timeouts(HINTERNET session, int resolve, int connect, int send, int receive) {
  EXPECT_THAT((std::vector{resolve, connect, send, receive}), ElementsAre(0, 10000, 10000, 10000));
  return !fails("WinHttpSetTimeouts") && WinHttpSetTimeouts(session, resolve, connect, send, receive);
}
// Redirects, cookies and authentication are disabled.
BOOL WINAPI set_option(HINTERNET handle, DWORD option, LPVOID value, DWORD length) {
  const bool of_request = recorded.opened.size() == 3;
  EXPECT_EQ(handle, of_request ? recorded.opened[2] : recorded.opened[0]);
  const DWORD expected =
      of_request ? WINHTTP_OPTION_DISABLE_FEATURE : WINHTTP_OPTION_RECEIVE_RESPONSE_TIMEOUT;
  EXPECT_EQ(option, expected);
  EXPECT_EQ(*static_cast<DWORD*>(value), of_request ? 7u : 10000u);
  return !fails("WinHttpSetOption") && WinHttpSetOption(handle, option, value, length);
}
HINTERNET WINAPI connect_to(HINTERNET session, LPCWSTR host, INTERNET_PORT port, DWORD reserved) {
  EXPECT_STREQ(host, L"127.0.0.1");
  EXPECT_EQ(port, 55661);
  return fails("WinHttpConnect") ? nullptr : opened(WinHttpConnect(session, host, port, reserved));
}
HINTERNET WINAPI open_request(HINTERNET connection, LPCWSTR verb, LPCWSTR path, LPCWSTR version,
                              LPCWSTR referrer, LPCWSTR* types, DWORD flags) {
  EXPECT_STREQ(verb, L"POST");
  EXPECT_STREQ(path, L"");
  EXPECT_EQ(version, nullptr);
  EXPECT_EQ(referrer, nullptr);
  EXPECT_EQ(types, nullptr);
  EXPECT_EQ(flags, 0u);
  if (fails("WinHttpOpenRequest")) return nullptr;
  return opened(WinHttpOpenRequest(connection, verb, path, version, referrer, types, flags));
}
BOOL WINAPI send_request(HINTERNET request, LPCWSTR headers, DWORD length, LPVOID data, DWORD data_length,
                         DWORD total, DWORD_PTR context) {
  EXPECT_STREQ(headers, L"Content-Type:application/json;charset=UTF-8;");
  EXPECT_EQ(length, std::wcslen(headers));
  EXPECT_EQ(data_length, 13u);
  EXPECT_EQ(total, 13u);
  EXPECT_EQ(context, 0u);
  return !fails("WinHttpSendRequest") &&
         WinHttpSendRequest(request, headers, length, data, data_length, total, context);
}
BOOL WINAPI receive_response(HINTERNET request, LPVOID reserved) {
  return !fails("WinHttpReceiveResponse") && WinHttpReceiveResponse(request, reserved);
}
BOOL WINAPI query_data(HINTERNET request, LPDWORD available) {
  return !fails("WinHttpQueryDataAvailable") && WinHttpQueryDataAvailable(request, available);
}
BOOL WINAPI read_data(HINTERNET request, LPVOID buffer, DWORD length, LPDWORD received) {
  return !fails("WinHttpReadData") && WinHttpReadData(request, buffer, length, received);
}
BOOL WINAPI close_handle(HINTERNET handle) {
  recorded.order.push_back("WinHttpCloseHandle");
  recorded.closed.push_back(handle);
  return WinHttpCloseHandle(handle);
}

class PlatformCalls : public ClientTest {
 protected:
  PlatformCalls() { recorded = {}; }

  HMODULE module = library.module();
  ImportPatch open{module, "winhttp.dll", "WinHttpOpen", open_session};
  ImportPatch timeouts{module, "winhttp.dll", "WinHttpSetTimeouts", set_timeouts};
  ImportPatch option{module, "winhttp.dll", "WinHttpSetOption", set_option};
  ImportPatch connect{module, "winhttp.dll", "WinHttpConnect", connect_to};
  ImportPatch request{module, "winhttp.dll", "WinHttpOpenRequest", open_request};
  ImportPatch send{module, "winhttp.dll", "WinHttpSendRequest", send_request};
  ImportPatch receive{module, "winhttp.dll", "WinHttpReceiveResponse", receive_response};
  ImportPatch query{module, "winhttp.dll", "WinHttpQueryDataAvailable", query_data};
  ImportPatch read{module, "winhttp.dll", "WinHttpReadData", read_data};
  ImportPatch close{module, "winhttp.dll", "WinHttpCloseHandle", close_handle};
};

TEST_F(PlatformCalls, ComeInOrderAndCloseTheSessionFirst) {
  service.answers(json(kSuccess));
  EXPECT_EQ(library.SOF_Initialize(), SOR_OK);
  EXPECT_THAT(
      recorded.order,
      ElementsAre("WinHttpOpen", "WinHttpSetTimeouts", "WinHttpSetOption", "WinHttpConnect",
                  "WinHttpOpenRequest", "WinHttpSetOption", "WinHttpSendRequest", "WinHttpReceiveResponse",
                  "WinHttpQueryDataAvailable", "WinHttpReadData", "WinHttpQueryDataAvailable",
                  "WinHttpCloseHandle", "WinHttpCloseHandle", "WinHttpCloseHandle"));
  EXPECT_EQ(recorded.closed, recorded.opened);
}

struct FailingCall {
  const char* call;
  DWORD error;
  std::string line;  // "": none
  int result;
};

TEST_F(PlatformCalls, EachFailureHasItsLogLineAndResult) {
  const FailingCall rows[] = {
      {"WinHttpOpen", 8, "xhttp_request_w->WinHttpOpen 8", -1},
      {"WinHttpSetTimeouts", 87, "xhttp_request_w->WinHttpSetTimeouts 87", -1},
      {"WinHttpConnect", 12006, "xhttp_request_w->WinHttpConnect 12006", -1},
      {"WinHttpOpenRequest", 12005, "xhttp_request_w->WinHttpOpenRequest 12005 [][127.0.0.1]", -1},
      {"WinHttpSendRequest", 12002, std::string(kSendLine) + "12002", -10},
      {"WinHttpSendRequest", 12029, std::string(kSendLine) + "12029", -57},
      {"WinHttpSendRequest", 12030, std::string(kSendLine) + "12030", -1},
  };
  for (const FailingCall& row : rows) {
    recorded = failing(row.call, row.error);
    LogReader::clear();
    EXPECT_EQ(library.SOF_Initialize(), SOR_COMMUNICATIONERR) << row.call;
    EXPECT_THAT(log.errors(),
                ElementsAre(row.line, "SOF_Initialize->post_json xrv = " + std::to_string(row.result)));
    EXPECT_EQ(recorded.closed, recorded.opened) << row.call;
  }
}

TEST_F(PlatformCalls, FailedReceiveFails) {
  service.answers(json(kSuccess));
  recorded = failing("WinHttpReceiveResponse", 12152);
  EXPECT_EQ(library.SOF_Initialize(), SOR_COMMUNICATIONERR);
  EXPECT_THAT(log.errors(), ElementsAre("xhttp_request_w->WinHttpReceiveResponse 12152",
                                        "SOF_Initialize->post_json xrv = -1"));
  EXPECT_EQ(recorded.closed, recorded.opened);
}

TEST_F(PlatformCalls, RefusedOptionsAreIgnored) {
  service.answers(json(kSuccess));
  recorded = failing("WinHttpSetOption", 87);
  EXPECT_EQ(library.SOF_Initialize(), SOR_OK);
  EXPECT_THAT(log.errors(), IsEmpty());
}

TEST_F(PlatformCalls, AFailingReadEndsTheBodyWithoutAnError) {
  for (const char* call : {"WinHttpQueryDataAvailable", "WinHttpReadData"}) {
    service.answers(json(kSuccess));
    recorded = failing(call, 12030);
    LogReader::clear();
    EXPECT_EQ(library.SOF_Initialize(), SOR_JSONPARSEERR);
    EXPECT_THAT(log.errors(), ElementsAre("SOF_Initialize->cJSON_Parse []"));
    EXPECT_EQ(recorded.closed, recorded.opened);
  }
}

// An answer that WinHTTP reports as one piece, as large as three chunks.
constexpr DWORD kChunk = 1 << 20, kPiece = 3 << 20;
DWORD piece_left = 0;
DWORD piece_size = kPiece;

BOOL WINAPI query_piece(HINTERNET, LPDWORD available) {
  *available = std::exchange(piece_left, 0);
  return TRUE;
}
BOOL WINAPI read_piece(HINTERNET, LPVOID buffer, DWORD length, LPDWORD received) {
  EXPECT_EQ(length, piece_size);
  std::memset(buffer, 'x', length);
  *received = length;
  return TRUE;
}

TEST_F(PlatformCalls, PieceAboveAChunkIsReadAtOnce) {
  const ImportPatch query_all(module, "winhttp.dll", "WinHttpQueryDataAvailable", query_piece);
  const ImportPatch read_all(module, "winhttp.dll", "WinHttpReadData", read_piece);
  service.responds([](const Request&) { return json(kSuccess); });
  settle_memory(library);
  AllocationFaults memory(module);
  piece_left = kPiece;
  EXPECT_EQ(library.SOF_Initialize(), SOR_JSONPARSEERR);
  const std::vector<size_t> sizes = memory.sizes();
  const auto chunk = std::ranges::find(sizes, size_t{kChunk});
  const auto piece = std::ranges::find(sizes, size_t{kPiece});
  ASSERT_LT(chunk, piece);
  ASSERT_NE(piece, sizes.end());
  EXPECT_LT(memory.peak_bytes(), size_t{kChunk} + kPiece);
  EXPECT_EQ(memory.outstanding(), 0u);

  recorded = {};
  memory.restart();
  memory.fail_at(static_cast<size_t>(piece - sizes.begin()) + 1);
  piece_left = kPiece;
  EXPECT_EQ(library.SOF_Initialize(), SOR_MEMORYERR);
  EXPECT_TRUE(memory.has_failed());
  EXPECT_EQ(memory.outstanding(), 0u);
  EXPECT_THAT(recorded.opened, testing::SizeIs(3));
  EXPECT_EQ(recorded.closed, recorded.opened);
}

// The library's heap is guarded: a piece that exceeds its buffer ends the test.
TEST_F(PlatformCalls, PiecesAroundTheChunkFit) {
  const ImportPatch query_all(module, "winhttp.dll", "WinHttpQueryDataAvailable", query_piece);
  const ImportPatch read_all(module, "winhttp.dll", "WinHttpReadData", read_piece);
  service.responds([](const Request&) { return json(kSuccess); });
  for (const DWORD size : {kChunk - 1, kChunk, kChunk + 1, kChunk * 3 / 2, 2 * kChunk, 2 * kChunk + 1}) {
    recorded = {};
    piece_left = piece_size = size;
    EXPECT_EQ(library.SOF_Initialize(), SOR_JSONPARSEERR) << size;
  }
  piece_size = kPiece;
}

// The sizes of the pieces of a body. Only the first 128 bytes of a piece are written.
std::vector<DWORD> sizes_left;

BOOL WINAPI query_sizes(HINTERNET, LPDWORD available) {
  *available = sizes_left.empty() ? 0 : 128;
  return TRUE;
}
BOOL WINAPI read_sizes(HINTERNET, LPVOID buffer, DWORD length, LPDWORD received) {
  std::memset(buffer, ' ', length);
  std::memcpy(buffer, kSuccess, std::strlen(kSuccess));
  *received = sizes_left.front();
  sizes_left.erase(sizes_left.begin());
  return TRUE;
}

// The capacity is 128 bytes, which the sizes of the second body are as a 32-bit number.
TEST_F(PlatformCalls, ABodyAbove4GiBIsRefused) {
  const ImportPatch query_all(module, "winhttp.dll", "WinHttpQueryDataAvailable", query_sizes);
  const ImportPatch read_all(module, "winhttp.dll", "WinHttpReadData", read_sizes);
  service.answers(json(kSuccess), json(kSuccess));
  sizes_left = {128};
  EXPECT_EQ(library.SOF_Initialize(), SOR_OK);
  recorded = {};
  sizes_left = {128, 0x80000000, 0x80000000};
  EXPECT_EQ(library.SOF_Initialize(), SOR_JSONPARSEERR);
  EXPECT_THAT(log.errors(), ElementsAre("SOF_Initialize->cJSON_Parse []"));
}

size_t WINAPIV too_long(wchar_t*, const char*, size_t) { return 2000; }

TEST_F(PlatformCalls, UnconvertibleTextFailsBeforeAnythingIsOpened) {
  const ImportPatch widen(module, "msvcrt.dll", "mbstowcs", too_long);
  EXPECT_EQ(library.SOF_Initialize(), SOR_COMMUNICATIONERR);
  EXPECT_THAT(log.errors(), ElementsAre("SOF_Initialize->post_json xrv = -1"));
  EXPECT_THAT(recorded.order, IsEmpty());
  EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
}

TEST(TransportSoak, TenThousandCallsLeakNeitherHandlesNorMemory) {
  Standins standins;
  ServiceDouble service;
  ClientLibrary library;
  service.responds([](const Request&) { return json(kSuccess); });
  const auto calls = [&](int count) {
    for (int i = 0; i < count; ++i) ASSERT_EQ(library.SOF_Initialize(), SOR_OK);
  };
  calls(500);
  AllocationFaults memory(library.module());
  const size_t handles = open_handles();
  calls(10'000);
  EXPECT_EQ(memory.outstanding(), 0u);
  EXPECT_NEAR(static_cast<double>(open_handles()), static_cast<double>(handles), 8.0);
}

}  // namespace

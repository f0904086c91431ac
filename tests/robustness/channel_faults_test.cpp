// Calls with a failing connection to the local service: timeouts, redirects, resets, restarts and proxies.
#include <winsock2.h>
#include <windows.h>
#include <winhttp.h>

#include <atomic>
#include <thread>
#include <vector>

#include "support/client_test.h"
#include "support/fresh_process.h"

using namespace velm::test;
using namespace std::chrono_literals;
using testing::Contains;

namespace {

const char kSuccess[] = R"({"ErrorCode":"0"})";
const char kVersion[] = R"({"ErrorCode":"0","Result":{"Version":"7"}})";

using Clock = std::chrono::steady_clock;

struct TimedResult {
  uint32_t code;
  Clock::duration time;
};

template <class Call>
TimedResult timed(Call call) {
  const auto start = Clock::now();
  const uint32_t code = call();
  return {code, Clock::now() - start};
}

class ChannelFaults : public ClientTest {};

// A call gives up after ten seconds without data, before the answer or within the body, but not on a service
// that sends slowly. The calls run concurrently to save time. (Silence within the head is not tested: Wine
// 8's WinHTTP then crashes any program that queries the available data.)
TEST_F(ChannelFaults, OnlySilenceTimesOut) {
  const std::string long_list = R"({"ErrorCode":"0","Result":["a"]})" + std::string(1500, ' ');
  service.responds([&](const Request& request) {
    if (request.body == R"({"funcid":58})") return Answer::nothing(15s);
    if (request.body == R"({"funcid":5,"ReturnMethod":0})") return json(long_list).split(2, 15s);
    return json(kVersion).slowly(90ms);
  });
  TimedResult silent, in_body, slow;
  char version[128] = "", list[2048];
  uint32_t list_length = sizeof list;
  std::vector<std::thread> callers;
  callers.emplace_back([&] { silent = timed([&] { return library.SOF_Initialize(); }); });
  callers.emplace_back([&] { in_body = timed([&] { return library.SOF_GetUserList(list, &list_length); }); });
  callers.emplace_back([&] { slow = timed([&] { return library.SOF_GetVersion(version); }); });
  for (std::thread& caller : callers) caller.join();

  for (const TimedResult& result : {silent, in_body}) {
    EXPECT_GE(result.time, 9900ms);
    EXPECT_LE(result.time, 12s);
  }
  EXPECT_EQ(silent.code, SOR_COMMUNICATIONERR);
  EXPECT_EQ(in_body.code, SOR_OK);  // what has arrived by then is a complete JSON text
  EXPECT_GE(slow.time, 10s);
  EXPECT_EQ(slow.code, SOR_OK);
  EXPECT_STREQ(version, "7");
}

struct Row {
  const char* name;
  Answer answer;
  std::vector<uint32_t> codes;  // several, because HTTP clients of Windows and Wine differ
};

TEST_F(ChannelFaults, EachFaultHasItsResultCode) {
  const std::vector<uint32_t> unread{SOR_COMMUNICATIONERR, SOR_JSONPARSEERR};
  const std::vector<uint32_t> perhaps{SOR_OK, SOR_COMMUNICATIONERR, SOR_JSONPARSEERR};
  const Row rows[] = {
      {"reset before the answer", Answer::nothing().reset(), {SOR_COMMUNICATIONERR}},
      {"reset half-way", json(kSuccess).cut_after(5).reset(), unread},
      {"no HTTP", Answer::raw("hello"), unread},
      {"500 with a body", json(R"({"ErrorCode":"B000438"})").status(500), {SOR_NOTLOGINERR}},
      {"500 without a body", json("").status(500), {SOR_JSONPARSEERR}},
      {"redirect to a closed port", Answer::redirect("http://127.0.0.1:9/"), {SOR_JSONPARSEERR}},
      {"redirect to itself", Answer::redirect("http://127.0.0.1:55661/"), {SOR_JSONPARSEERR}},
      {"100 Continue unasked", json(kSuccess).with_continue(), perhaps},
      {"chunk length no number", json(kSuccess).with_bad_chunk_length(5), perhaps},
      {"chunk cut", json(kSuccess).chunked(5).cut_after(12), unread},
      {"longer than announced", json(kSuccess).announcing(4), perhaps},
      {"shorter than announced", json(kSuccess).announcing(1000), perhaps},
      {"announces 2^64-1", json(kSuccess).announcing(UINT64_MAX), perhaps},
  };
  for (const Row& row : rows) {
    service.answers(row.answer);
    const TimedResult result = timed([&] { return library.SOF_Initialize(); });
    EXPECT_THAT(row.codes, Contains(result.code)) << row.name;
    EXPECT_LT(result.time, 5s) << row.name;
    std::printf("%-28s 0x%08X\n", row.name, static_cast<unsigned>(result.code));

    service.answers(json(kSuccess));
    EXPECT_EQ(library.SOF_Initialize(), SOR_OK) << "after: " << row.name;
  }
}

// A fault in one thread's exchange must not affect the other threads.
TEST_F(ChannelFaults, FaultsDoNotAffectOtherThreads) {
  service.responds([](const Request& request) {
    if (request.body == R"({"funcid":58})") return Answer::nothing();
    if (request.body == R"({"funcid":38})") return json(kSuccess).cut_after(5).reset();
    if (request.body == R"({"funcid":0})") return json(kVersion).chunked(3);
    return json(R"({"ErrorCode":"B000438"})").status(500);
  });
  std::atomic<int> wrong{0};
  std::vector<std::thread> callers;
  for (int caller = 0; caller < 16; ++caller) {
    callers.emplace_back([&, caller] {
      for (int turn = 0; turn < 10; ++turn) {
        char version[128] = "";
        switch ((caller + turn) % 4) {
          case 0:
            wrong += library.SOF_Initialize() != SOR_COMMUNICATIONERR;
            break;
          case 1:
            wrong += library.SOF_Finalize() != SOR_JSONPARSEERR;
            break;
          case 2:
            wrong += library.SOF_GetVersion(version) != SOR_OK || std::string(version) != "7";
            break;
          case 3:
            wrong += library.SOF_Ext_isLogin("C1", 0) != SOR_NOTLOGINERR;
            break;
        }
      }
    });
  }
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(wrong, 0);
}

TEST(Restart, CallsReachTheRestartedService) {
  Standins standins;
  ClientLibrary library;
  for (int i = 0; i < 10; ++i) {
    {
      ServiceDouble service;
      service.answers(json(kSuccess), json(kSuccess));
      EXPECT_EQ(library.SOF_Initialize(), SOR_OK) << i;
      EXPECT_EQ(library.SOF_Initialize(), SOR_OK) << i;
    }
    EXPECT_EQ(library.SOF_Initialize(), SOR_COMMUNICATIONERR) << i;
  }
}

// A listener that never answers, but reports whether a client has connected.
class Listener {
 public:
  Listener() : socket_(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP)) {
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int size = sizeof address_;
    bind(socket_, reinterpret_cast<const sockaddr*>(&address_), size);
    listen(socket_, 5);
    getsockname(socket_, reinterpret_cast<sockaddr*>(&address_), &size);
    u_long non_blocking = 1;
    ioctlsocket(socket_, FIONBIO, &non_blocking);
  }
  ~Listener() { closesocket(socket_); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  uint16_t port() const { return ntohs(address_.sin_port); }

  bool was_reached() const {
    const SOCKET client = accept(socket_, nullptr, nullptr);
    if (client == INVALID_SOCKET) return false;
    closesocket(client);
    return true;
  }

 private:
  SOCKET socket_;
  sockaddr_in address_{};
};

// Sets the machine's WinHTTP proxy for the lifetime of the object.
class DefaultProxy {
 public:
  DefaultProxy(std::wstring server, std::wstring bypass) {
    WINHTTP_PROXY_INFO set{WINHTTP_ACCESS_TYPE_NAMED_PROXY, server.data(),
                           bypass.empty() ? nullptr : bypass.data()};
    is_set_ = WinHttpSetDefaultProxyConfiguration(&set);
  }
  ~DefaultProxy() {
    WINHTTP_PROXY_INFO none{WINHTTP_ACCESS_TYPE_NO_PROXY, nullptr, nullptr};
    WinHttpSetDefaultProxyConfiguration(&none);
  }
  DefaultProxy(const DefaultProxy&) = delete;
  DefaultProxy& operator=(const DefaultProxy&) = delete;

  bool is_set() const { return is_set_; }

 private:
  bool is_set_;
};

// Makes one call in a separate process and exits with its result code.
CHILD_PROCESS(calls_with_a_proxy_about) {
  Standins standins;
  ServiceDouble service;
  ClientLibrary library;
  service.answers(json(kSuccess));
  return static_cast<int>(library.SOF_Initialize());
}

class Proxy : public testing::Test {
 protected:
  Proxy() { WSAStartup(MAKEWORD(2, 2), &sockets_); }
  ~Proxy() override { WSACleanup(); }

 private:
  WSADATA sockets_;
};

// Calls use the proxy settings of the current user, including the exceptions for this machine.
TEST_F(Proxy, LocalBypassIsHonoured) {
  const Listener proxy;
  const DefaultProxy setting(L"127.0.0.1:" + std::to_wstring(proxy.port()), L"127.0.0.1");
  ASSERT_TRUE(setting.is_set());
  EXPECT_EQ(run_child("calls_with_a_proxy_about").exit_code, SOR_OK);
  EXPECT_FALSE(proxy.was_reached());
}

TEST_F(Proxy, WithoutBypassTheProxyIsUsed) {
  const Listener proxy;
  const DefaultProxy setting(L"127.0.0.1:" + std::to_wstring(proxy.port()), L"");
  ASSERT_TRUE(setting.is_set());
  EXPECT_EQ(run_child("calls_with_a_proxy_about").exit_code, SOR_COMMUNICATIONERR);
  EXPECT_TRUE(proxy.was_reached());
}

}  // namespace

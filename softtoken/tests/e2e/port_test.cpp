// Tests that no other process can take the port of the local service or its connections, with the socket
// options of Windows.
//
// Wine refuses all these attempts, with the rules of the system on which it runs. Only a run on Windows shows
// that SO_EXCLUSIVEADDRUSE of the service defeats SO_REUSEADDR, which there allows a second socket on the
// same address, and that a socket for all addresses, if Windows allows one, gets no connection to 127.0.0.1.
#include <winsock2.h>
#include <ws2tcpip.h>

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string_view>

#include "protocol/endpoint.h"
#include "service_process.h"
#include "velm_sof_client.h"

namespace {

using velm::protocol::kServicePort;

class Socket {
 public:
  explicit Socket(int family) : handle_(socket(family, SOCK_STREAM, IPPROTO_TCP)) {}
  Socket(const Socket&) = delete;
  ~Socket() { closesocket(handle_); }

  bool exists() const { return handle_ != INVALID_SOCKET; }
  bool set(int level, int option, DWORD value) {
    return setsockopt(handle_, level, option, reinterpret_cast<const char*>(&value), sizeof value) == 0;
  }
  bool listen_on(const sockaddr_storage& address, int size) {
    return bind(handle_, reinterpret_cast<const sockaddr*>(&address), size) == 0 &&
           listen(handle_, SOMAXCONN) == 0;
  }
  bool has_connection() {
    WSAPOLLFD waiting{.fd = handle_, .events = POLLRDNORM, .revents = 0};
    return WSAPoll(&waiting, 1, 0) > 0;
  }

 private:
  SOCKET handle_;
};

struct Attempt {
  const char* address;
  int option;  // 0: none
};

void PrintTo(const Attempt& attempt, std::ostream* out) { *out << attempt.address << ' ' << attempt.option; }

bool is_ipv6(const Attempt& attempt) {
  return std::string_view(attempt.address).find(':') != std::string_view::npos;
}

// Returns whether the rival listens. An IPv6 socket is made dual-stack, so that it includes 127.0.0.1.
bool listen(Socket& rival, const Attempt& attempt, uint16_t port) {
  sockaddr_storage storage{};
  int size = sizeof(sockaddr_in);
  EXPECT_TRUE(attempt.option == 0 || rival.set(SOL_SOCKET, attempt.option, 1));
  if (is_ipv6(attempt)) {
    EXPECT_TRUE(rival.set(IPPROTO_IPV6, IPV6_V6ONLY, 0));
    auto& address = reinterpret_cast<sockaddr_in6&>(storage);
    size = sizeof address;
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(port);
  } else {
    auto& address = reinterpret_cast<sockaddr_in&>(storage);
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_pton(AF_INET, attempt.address, &address.sin_addr);
  }
  return rival.listen_on(storage, size);
}

class Port : public testing::TestWithParam<Attempt> {
 protected:
  static void SetUpTestSuite() {
    WSADATA data;
    ASSERT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
    service = std::make_unique<ServiceProcess>();
  }
  static void TearDownTestSuite() {
    service.reset();
    WSACleanup();
  }

  void SetUp() override {
    if (!Socket(family()).exists()) GTEST_SKIP() << "the system has no IPv6";
  }

  static int family() { return is_ipv6(GetParam()) ? AF_INET6 : AF_INET; }

  static inline std::unique_ptr<ServiceProcess> service;
};

TEST_P(Port, OfTheServiceGivesARivalNoConnection) {
  Socket rival(family());
  const bool listens = listen(rival, GetParam(), kServicePort);
  EXPECT_FALSE(listens && std::string_view(GetParam().address) == "127.0.0.1");
  for (int i = 0; i < 10; ++i) EXPECT_EQ(SOF_Initialize(), SOR_OK);
  EXPECT_FALSE(listens && rival.has_connection());
}

// Shows that the attempt is refused above because of the service.
TEST_P(Port, ThatIsFreeCanBeTaken) {
  Socket rival(family());
  EXPECT_TRUE(listen(rival, GetParam(), kServicePort + 1));
}

constexpr Attempt kAttempts[] = {
    {"127.0.0.1", 0}, {"127.0.0.1", SO_REUSEADDR}, {"127.0.0.1", SO_EXCLUSIVEADDRUSE},
    {"0.0.0.0", 0},   {"0.0.0.0", SO_REUSEADDR},   {"0.0.0.0", SO_EXCLUSIVEADDRUSE},
    {"::", 0},        {"::", SO_REUSEADDR},        {"::", SO_EXCLUSIVEADDRUSE},
};
INSTANTIATE_TEST_SUITE_P(Attempts, Port, testing::ValuesIn(kAttempts));

}  // namespace

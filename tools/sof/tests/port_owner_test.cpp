// The process that listens on a port, and what sof doctor says about it.
#include "port_owner.h"

#include <winsock2.h>

#include <gmock/gmock.h>

#include <filesystem>

#include "text.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using namespace velm::permissions;

namespace {

/** A socket that listens on a free port. */
class Listener {
 public:
  explicit Listener(uint32_t address) {
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
    socket_ = socket(AF_INET, SOCK_STREAM, 0);
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(address);
    int size = sizeof address_;
    bind(socket_, reinterpret_cast<sockaddr*>(&address_), size);
    listen(socket_, 1);
    getsockname(socket_, reinterpret_cast<sockaddr*>(&address_), &size);
    // Receives nothing. Wine names the owner of a socket only after the process has used it itself.
    u_long without_waiting = 1;
    ioctlsocket(socket_, static_cast<long>(FIONBIO), &without_waiting);
    char byte;
    recv(socket_, &byte, 1, 0);
  }
  ~Listener() {
    closesocket(socket_);
    WSACleanup();
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  uint16_t port() const { return ntohs(address_.sin_port); }

 private:
  SOCKET socket_;
  sockaddr_in address_{};
};

std::string this_program() {
  wchar_t path[MAX_PATH]{};
  return utf8_of({path, GetModuleFileNameW(nullptr, path, MAX_PATH)});
}

const Sid kOther = sid_of_text(L"S-1-5-21-1-2-3-1001");

TEST(PortOwner, IsThisProcess) {
  for (const uint32_t address : {uint32_t{INADDR_LOOPBACK}, uint32_t{INADDR_ANY}}) {
    const Listener listener(address);
    const std::vector<PortOwner> owners = owners_of_port(listener.port());
    ASSERT_EQ(owners.size(), 1u);
    EXPECT_EQ(owners[0].process_id, GetCurrentProcessId());
    EXPECT_EQ(owners[0].program, this_program());
    EXPECT_EQ(owners[0].user, current_user());
    EXPECT_THAT(owners[0].user, Not(IsEmpty()));
  }
}

TEST(PortOwner, IsNobodyWithoutAListener) {
  uint16_t port;
  {
    const Listener listener(INADDR_LOOPBACK);
    port = listener.port();
  }
  EXPECT_THAT(owners_of_port(port), IsEmpty());
}

TEST(PortFinding, IsFineForTheSameUserAndForServices) {
  const Sid self = current_user();
  for (const Sid& user : {self, sid_of_text(L"S-1-5-18"), sid_of_text(L"S-1-5-19")}) {
    const Finding finding = finding_on({.process_id = 12, .program = "C:\\a.exe", .user = user}, self);
    EXPECT_EQ(finding.grade, Grade::ok);
    EXPECT_EQ(finding.found, "belongs to C:\\a.exe, process 12, user " + utf8_of(account_name(user)));
    EXPECT_EQ(finding.advice, "");
  }
}

TEST(PortFinding, WarnsOfAnotherUser) {
  const Finding finding =
      finding_on({.process_id = 12, .program = "C:\\a.exe", .user = kOther}, current_user());
  EXPECT_EQ(finding.grade, Grade::warning);
  EXPECT_EQ(finding.found, "belongs to C:\\a.exe, process 12, user S-1-5-21-1-2-3-1001, not yours");
  EXPECT_THAT(finding.advice, EndsWith("receives every PIN"));
}

TEST(PortFinding, WarnsOfAUserThatIsConcealed) {
  const Finding named = finding_on({.process_id = 12, .program = "a.exe", .user = {}}, current_user());
  EXPECT_EQ(named.grade, Grade::warning);
  EXPECT_EQ(named.found, "belongs to a.exe, process 12, probably of another user");
  EXPECT_THAT(named.advice, HasSubstr("as administrator"));
  const Finding unnamed = finding_on({.process_id = 12, .program = "", .user = {}}, current_user());
  EXPECT_EQ(unnamed.found, "belongs to process 12, probably of another user");
}

}  // namespace

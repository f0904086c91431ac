#include "support/service_double.h"

#include <ws2tcpip.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include <gtest/gtest.h>

namespace velm::test {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 5s;

// Wine can lose an FD_ACCEPT event while another client is being accepted, and signals no further one. So
// poll the listener as well.
constexpr DWORD kUnannouncedMilliseconds = 20;

[[noreturn]] void fail(const char* what) {
  throw std::runtime_error(std::string("service double: ") + what + " " + std::to_string(WSAGetLastError()));
}

// The previous test may still hold the port for a moment.
void bind_when_free(SOCKET socket) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(ServiceDouble::kPort);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const auto limit = std::chrono::steady_clock::now() + kPatience;
  while (bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    if (std::chrono::steady_clock::now() > limit) fail("the port is in use");
    std::this_thread::sleep_for(20ms);
  }
}

bool send_all(SOCKET socket, const std::string& bytes) {
  for (size_t sent = 0; sent < bytes.size();) {
    const int count = send(socket, bytes.data() + sent, static_cast<int>(bytes.size() - sent), 0);
    if (count <= 0) return false;
    sent += static_cast<size_t>(count);
  }
  return true;
}

// Appends received bytes; returns false at the end of the stream.
bool receive_some(SOCKET socket, std::string& bytes) {
  std::array<char, 65536> block;
  const int count = recv(socket, block.data(), static_cast<int>(block.size()), 0);
  if (count > 0) bytes.append(block.data(), static_cast<size_t>(count));
  return count > 0;
}

// Sends the end of the stream, then drains the input until the client closes, so the client gets everything.
void close_in_order(SOCKET socket) {
  shutdown(socket, SD_SEND);
  for (std::string rest; receive_some(socket, rest); rest.clear()) {
  }
}

void close_with_reset(SOCKET socket) {
  const linger at_once{1, 0};
  setsockopt(socket, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&at_once), sizeof at_once);
}

}  // namespace

ServiceDouble::ServiceDouble() {
  WSADATA data;
  if (WSAStartup(MAKEWORD(2, 2), &data) != 0) fail("WSAStartup");
  listener_ = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  if (listener_ == INVALID_SOCKET) fail("socket");
  bind_when_free(listener_);
  if (listen(listener_, SOMAXCONN) != 0) fail("listen");
  connecting_ = WSACreateEvent();
  stopping_ = WSACreateEvent();
  WSAEventSelect(listener_, connecting_, FD_ACCEPT);
  acceptor_ = std::thread([this] { accept_clients(); });
}

ServiceDouble::~ServiceDouble() {
  WSASetEvent(stopping_);
  acceptor_.join();
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    for (const Connection& connection : connections_) {
      if (connection.socket != INVALID_SOCKET) shutdown(connection.socket, SD_BOTH);
    }
  }
  changed_.notify_all();
  for (Connection& connection : connections_) connection.thread.join();
  closesocket(listener_);
  WSACloseEvent(connecting_);
  WSACloseEvent(stopping_);
  WSACleanup();
}

void ServiceDouble::queue(Answer answer) {
  const std::lock_guard lock(mutex_);
  answers_.push_back(std::move(answer));
}

void ServiceDouble::responds(Responder responder) {
  const std::lock_guard lock(mutex_);
  responder_ = std::move(responder);
}

std::vector<Request> ServiceDouble::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

Request ServiceDouble::take_request() {
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, kPatience, [this] { return taken_ < requests_.size(); })) {
    ADD_FAILURE() << "the service got no further request within 5 s";
    return {};
  }
  return requests_[taken_++];
}

size_t ServiceDouble::unexpected() const {
  const std::lock_guard lock(mutex_);
  return unexpected_;
}

size_t ServiceDouble::unplayed() const {
  const std::lock_guard lock(mutex_);
  return answers_.size();
}

size_t ServiceDouble::connections() const {
  const std::lock_guard lock(mutex_);
  return accepted_;
}

void ServiceDouble::accept_clients() {
  const WSAEVENT events[] = {stopping_, connecting_};
  while (WSAWaitForMultipleEvents(2, events, FALSE, kUnannouncedMilliseconds, FALSE) != WSA_WAIT_EVENT_0) {
    WSANETWORKEVENTS seen;
    WSAEnumNetworkEvents(listener_, connecting_, &seen);
    join_served_connections();
    for (SOCKET client; (client = accept(listener_, nullptr, nullptr)) != INVALID_SOCKET;) {
      u_long blocking = 0;
      WSAEventSelect(client, nullptr, 0);
      ioctlsocket(client, FIONBIO, &blocking);
      const std::lock_guard lock(mutex_);
      ++accepted_;
      connections_.push_back({client, {}});
      Connection& connection = connections_.back();
      connection.thread = std::thread([this, &connection] {
        serve(connection.socket);
        const std::lock_guard closing(mutex_);
        closesocket(std::exchange(connection.socket, INVALID_SOCKET));
      });
    }
  }
}

void ServiceDouble::join_served_connections() {
  std::list<Connection> served;
  {
    const std::lock_guard lock(mutex_);
    for (auto at = connections_.begin(); at != connections_.end();) {
      const auto connection = at++;
      if (connection->socket == INVALID_SOCKET) served.splice(served.end(), connections_, connection);
    }
  }
  for (Connection& connection : served) connection.thread.join();
}

void ServiceDouble::serve(SOCKET socket) {
  Request request;
  if (!receive(socket, request)) return;
  play(socket, answer_to(request));
}

bool ServiceDouble::receive(SOCKET socket, Request& request) {
  std::string bytes;
  size_t head_end;
  while ((head_end = bytes.find("\r\n\r\n")) == std::string::npos) {
    if (!receive_some(socket, bytes)) return false;
  }
  request = parse_head(bytes.substr(0, head_end));
  request.body = bytes.substr(head_end + 4);
  const size_t length = std::strtoull(request.header("Content-Length").c_str(), nullptr, 10);
  while (request.body.size() < length) {
    if (!receive_some(socket, request.body)) return false;
  }
  return true;
}

Answer ServiceDouble::answer_to(const Request& request) {
  std::unique_lock lock(mutex_);
  requests_.push_back(request);
  changed_.notify_all();
  if (!answers_.empty()) {
    Answer answer = std::move(answers_.front());
    answers_.pop_front();
    return answer;
  }
  if (responder_) {
    const Responder responder = responder_;
    lock.unlock();
    return responder(request);
  }
  ++unexpected_;
  return Answer("").status(500, "Internal Server Error");
}

void ServiceDouble::play(SOCKET socket, const Answer& answer) {
  wait(answer.delay());
  const std::vector<std::string> pieces = answer.pieces();
  for (size_t i = 0; i < pieces.size(); ++i) {
    if (i > 0) wait(answer.pause());
    if (!send_all(socket, pieces[i])) return;
  }
  if (answer.ends_in_reset()) {
    close_with_reset(socket);
  } else {
    close_in_order(socket);
  }
}

// Waits, but not beyond the lifetime of the double.
void ServiceDouble::wait(Milliseconds time) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, time, [this] { return stopped_; });
}

}  // namespace velm::test

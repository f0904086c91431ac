// Fuzzes what clients send on a connection to the local service. The first byte of an input is the length of
// the pieces in which the rest is sent; "PORT" stands for the port of the service.
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <string>
#include <thread>

#include "softtoken/service/http_server.h"
#include "softtoken/tests/fuzz/token_under_fuzz.h"
#include "tests/fuzz/fuzz_target.h"

using velm::fuzz::expect;

namespace {

using namespace velm::token;

class ServerUnderFuzz {
 public:
  ServerUnderFuzz() : serving_([this] { server_.run(); }) {}
  ServerUnderFuzz(const ServerUnderFuzz&) = delete;
  ~ServerUnderFuzz() {
    server_.stop();
    serving_.join();
  }

  uint16_t port() const { return port_; }
  void begin_input() { token_.begin_input(); }

 private:
  fuzz::TokenUnderFuzz token_;
  HttpServer server_{token_.service(), {.port = 0, .body_limit = 4096, .threads = 1}};
  uint16_t port_ = server_.bind();
  std::thread serving_;
};

class Client {
 public:
  explicit Client(uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    expect(connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
           "the service listens");
  }
  Client(const Client&) = delete;
  ~Client() { close(socket_); }

  // A service that has refused the request may have closed the connection.
  void send_in_pieces(std::string_view text, size_t length) {
    for (; !text.empty(); text.remove_prefix(std::min(length, text.size()))) {
      const std::string_view piece = text.substr(0, length);
      if (send(socket_, piece.data(), piece.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(piece.size()))
        break;
    }
    shutdown(socket_, SHUT_WR);
  }

  std::string receive_all() {
    std::string text;
    std::array<char, 4096> buffer;
    ssize_t count = 1;
    while (count != 0) {
      count = recv(socket_, buffer.data(), buffer.size(), 0);
      if (count < 0 && errno == EINTR) continue;  // by the timer of the fuzzer
      if (count < 0) break;
      text.append(buffer.data(), static_cast<size_t>(count));
    }
    expect(count == 0, "the service ends the connection in order");
    return text;
  }

 private:
  int socket_;
};

std::string with_port(std::string text, uint16_t port) {
  constexpr std::string_view kPlaceholder = "PORT";
  const std::string number = std::to_string(port);
  for (size_t at = text.find(kPlaceholder); at != std::string::npos; at = text.find(kPlaceholder, at))
    text.replace(at, kPlaceholder.size(), number);
  return text;
}

size_t content_length(std::string_view head) {
  constexpr std::string_view kName = "Content-Length: ";
  const size_t at = head.find(kName);
  if (at == std::string_view::npos) return 0;
  size_t length = 0;
  std::from_chars(head.data() + at + kName.size(), head.data() + head.size(), length);
  return length;
}

void check_answers(std::string_view answers) {
  expect(answers.find(fuzz::kPin) == std::string_view::npos, "no answer contains a PIN");
  while (!answers.empty()) {
    const size_t end = answers.find("\r\n\r\n");
    expect(answers.starts_with("HTTP/1.") && end != std::string_view::npos, "an answer has a head");
    const size_t length = content_length(answers.substr(0, end));
    answers.remove_prefix(end + 4);
    expect(answers.size() >= length, "an answer is complete");
    answers.remove_prefix(length);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static ServerUnderFuzz server;
  if (size == 0) return 0;
  server.begin_input();
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  Client client(server.port());
  client.send_in_pieces(with_port(text, server.port()), size_t{data[0]} + 1);
  check_answers(client.receive_all());
  return 0;
}

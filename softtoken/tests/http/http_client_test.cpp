// The HTTP client against a server that sends what a test tells it to, in pieces and with pauses.
#include "softtoken/http/http_client.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "softtoken/tests/support/freed_blocks.h"

namespace velm::token {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/** A piece of an answer, sent after a pause unless the client leaves meanwhile. */
struct Piece {
  const char* bytes;
  std::chrono::milliseconds pause{0};
};

/** Takes one connection, reads until the request is complete, and sends the pieces. Uses no heap of its own.
 */
class Server {
 public:
  explicit Server(std::vector<Piece> pieces, size_t body_size = 0)
      : pieces_(std::move(pieces)), body_size_(body_size), listener_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(listen(listener_, 1), 0);
    EXPECT_EQ(getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size), 0);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
  }
  Server(const Server&) = delete;
  ~Server() {
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    close(listener_);
  }

  uint16_t port() const { return port_; }
  /** The request; complete once the client has its answer. */
  std::string_view request() const { return {request_, received_}; }

 private:
  bool is_complete() const {
    const std::string_view arrived = request();
    const size_t end = arrived.find("\r\n\r\n");
    return end != std::string_view::npos && arrived.size() >= end + 4 + body_size_;
  }
  void serve() {
    const int connection = accept(listener_, nullptr, nullptr);
    if (connection < 0) return;
    while (!is_complete()) {
      const ssize_t count = recv(connection, request_ + received_, sizeof request_ - received_, 0);
      if (count <= 0) break;
      received_ += static_cast<size_t>(count);
    }
    for (const Piece& piece : pieces_) {
      pollfd client{connection, POLLRDHUP, 0};
      if (poll(&client, 1, static_cast<int>(piece.pause.count())) != 0) break;
      send(connection, piece.bytes, std::strlen(piece.bytes), MSG_NOSIGNAL);
    }
    close(connection);
  }

  const std::vector<Piece> pieces_;
  const size_t body_size_;
  const int listener_;
  uint16_t port_ = 0;
  char request_[4096] = {};
  size_t received_ = 0;
  std::thread thread_;
};

HttpRequest request_to(const Server& server) { return {"127.0.0.1", server.port(), "/path?a=b"}; }

std::string text_of(const HttpAnswer& answer) { return as_text(answer.body); }

constexpr char kAnswer[] = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello";

TEST(HttpClient, WithoutAContentTypeTheRequestIsAGet) {
  const Server server({{kAnswer}});
  const HttpAnswer answer = send_request(request_to(server));
  EXPECT_EQ(answer.status, 200u);
  EXPECT_EQ(text_of(answer), "hello");
  const std::string sent(server.request());
  EXPECT_TRUE(sent.starts_with("GET /path?a=b HTTP/1.1\r\n")) << sent;
  EXPECT_NE(sent.find("\r\nHost: 127.0.0.1:" + std::to_string(server.port()) + "\r\n"), std::string::npos);
  EXPECT_NE(sent.find("\r\nConnection: close\r\n"), std::string::npos) << sent;
}

TEST(HttpClient, WithAContentTypeTheRequestIsAPostOfTheBody) {
  const Server server({{"HTTP/1.1 503 No\r\nContent-Length: 0\r\n\r\n"}}, 4);
  HttpRequest request = request_to(server);
  request.content_type = "text/x-test";
  request.body = as_bytes("body");
  const HttpAnswer answer = send_request(request);
  EXPECT_EQ(answer.status, 503u);
  EXPECT_TRUE(answer.body.empty());
  const std::string sent(server.request());
  EXPECT_TRUE(sent.starts_with("POST /path?a=b HTTP/1.1\r\n")) << sent;
  EXPECT_NE(sent.find("\r\nContent-Type: text/x-test\r\n"), std::string::npos) << sent;
  EXPECT_NE(sent.find("\r\nContent-Length: 4\r\n"), std::string::npos) << sent;
  EXPECT_TRUE(sent.ends_with("\r\n\r\nbody")) << sent;
}

TEST(HttpClient, AnAnswerMayBeAsLargeAsTheLimitAndNoLarger) {
  for (const char* form : {kAnswer,
                           "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                           "2\r\nhe\r\n3\r\nllo\r\n0\r\n\r\n",
                           "HTTP/1.1 200 OK\r\n\r\nhello"}) {
    for (const size_t limit : {4u, 5u}) {
      const Server server({{form}});
      HttpRequest request = request_to(server);
      request.answer_limit = limit;
      if (limit == 5) {
        EXPECT_EQ(text_of(send_request(request)), "hello") << form;
      } else {
        EXPECT_THROW(send_request(request), std::runtime_error) << form;
      }
    }
  }
}

TEST(HttpClient, OnlySilenceEndsTheWait) {
  constexpr auto kLimit = 1500ms;
  // Longer than the limit in all, but never silent for that long.
  const Server slow({{"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n", 400ms},
                     {"h", 400ms},
                     {"e", 400ms},
                     {"l", 400ms},
                     {"lo", 400ms}});
  HttpRequest request = request_to(slow);
  request.answer_timeout = kLimit;
  EXPECT_EQ(text_of(send_request(request)), "hello");
  for (const std::vector<Piece>& silent :
       {std::vector<Piece>{{kAnswer, 10s}},
        {{"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhe"}, {"llo", 10s}}}) {
    const Server server(silent);
    request = request_to(server);
    request.answer_timeout = kLimit;
    const auto start = Clock::now();
    EXPECT_THROW(send_request(request), HttpTimeout) << "the answer was waited for";
    EXPECT_GE(Clock::now() - start, kLimit);
  }
}

TEST(HttpClient, AnAnswerThatIsCutOffIsAFailure) {
  for (const char* cut : {"", "HTTP/1.1 200", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n",
                          "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhell", "no answer\r\n\r\n",
                          "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n"}) {
    const Server server({{cut}});
    try {
      send_request(request_to(server));
      ADD_FAILURE() << cut;
    } catch (const HttpTimeout&) {
      ADD_FAILURE() << "a closed connection is no silence: " << cut;
    } catch (const std::runtime_error&) {
    }
  }
}

TEST(HttpClient, AClosedPortIsAFailure) {
  HttpRequest request{"127.0.0.1", 0, "/"};
  {
    const Server server({});
    request.port = server.port();
    EXPECT_THROW(send_request(request), std::runtime_error);
  }
  EXPECT_THROW(send_request(request), std::runtime_error);
}

#ifdef VELM_FREED_BLOCKS
constexpr const char* kSecrets[] = {"Kq7-zX9vT2"};
constexpr const char* kNoSecrets[] = {"Content-Le"};

// The body arrives in one piece, in many, and in part.
TEST(HttpClient, WipesBodiesBeforeTheyAreFreed) {
  const std::vector<Piece> answers[] = {
      {{"HTTP/1.1 200 OK\r\nContent-Length: 20\r\n\r\nKq7-zX9vT2Kq7-zX9vT2"}},
      {{"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nA\r\nKq7-zX9vT2\r\n"}, {"0\r\n\r\n", 50ms}},
      {{"HTTP/1.1 200 OK\r\nContent-Length: 99\r\n\r\nKq7-zX9vT2"}},
  };
  for (const auto& pieces : answers) {
    const Server server(pieces);
    const FreedBlocks freed(kSecrets);
    try {
      const HttpAnswer answer = send_request(request_to(server));
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(freed.containing(0), 0u) << pieces.front().bytes;
  }
  std::vector<char> with_header(std::strlen(kAnswer));
  const FreedBlocks freed(kNoSecrets);
  std::memcpy(with_header.data(), kAnswer, with_header.size());
  std::vector<char>().swap(with_header);
  EXPECT_EQ(freed.containing(0), 1u) << "freed blocks are not searched";
}
#endif

}  // namespace
}  // namespace velm::token

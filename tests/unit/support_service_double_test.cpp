// Tests of the service double with a plain socket client.
#include <winsock2.h>

#include <gmock/gmock.h>

#include <array>
#include <chrono>
#include <set>
#include <string>
#include <thread>

#include "support/handle_count.h"
#include "support/service_double.h"

namespace {

using namespace std::chrono_literals;
using namespace velm::test;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class Client {
 public:
  Client() : socket_(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(ServiceDouble::kPort);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connected_ = connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  }
  ~Client() { closesocket(socket_); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  bool connected() const { return connected_; }

  void send_text(const std::string& text) { send(socket_, text.data(), static_cast<int>(text.size()), 0); }

  void post(const std::string& body) {
    send_text(
        "POST / HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type:application/json;charset=UTF-8;\r\n"
        "Content-Length: " +
        std::to_string(body.size()) + "\r\n\r\n" + body);
  }

  // Receives up to the end of the stream. `error` is 0 after an orderly close.
  std::string receive(int* error = nullptr) {
    std::string text;
    std::array<char, 4096> block;
    int count;
    while ((count = recv(socket_, block.data(), block.size(), 0)) > 0) {
      text.append(block.data(), static_cast<size_t>(count));
    }
    if (error) *error = count == 0 ? 0 : WSAGetLastError();
    return text;
  }

 private:
  SOCKET socket_;
  bool connected_;
};

std::string exchange(const std::string& body) {
  Client client;
  client.post(body);
  return client.receive();
}

std::string body_of(const std::string& answer) { return answer.substr(answer.find("\r\n\r\n") + 4); }

TEST(ServiceDouble, RecordsTheRequestUnchanged) {
  ServiceDouble service;
  service.answers(json("{}"));
  exchange(std::string("a\0b", 3));
  const Request request = service.take_request();
  EXPECT_EQ(request.line, "POST / HTTP/1.1");
  EXPECT_EQ(request.method(), "POST");
  EXPECT_EQ(request.target(), "/");
  EXPECT_THAT(request.headers, ElementsAre("Host: 127.0.0.1", "Content-Type:application/json;charset=UTF-8;",
                                           "Content-Length: 3"));
  EXPECT_EQ(request.header("content-type"), "application/json;charset=UTF-8;");
  EXPECT_EQ(request.header("absent"), "");
  EXPECT_EQ(request.header_count("HOST"), 1u);
  EXPECT_EQ(request.body, std::string("a\0b", 3));
}

TEST(ServiceDouble, PlaysEachAnswerOnceInOrder) {
  ServiceDouble service;
  service.answers(json("first"), frame(0x0B000403, "ab"), frame_code(7));
  const std::string first = exchange("1");
  EXPECT_THAT(first, StartsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_THAT(first, HasSubstr("\r\nConnection: close\r\n"));
  EXPECT_THAT(first, EndsWith("\r\nContent-Length: 5\r\n\r\nfirst"));
  EXPECT_EQ(body_of(exchange("2")), little_endian(0x0B000403) + little_endian(2) + "ab");
  EXPECT_EQ(little_endian(0x0B000403), std::string("\x03\x04\x00\x0B", 4));
  EXPECT_EQ(service.unplayed(), 1u);
  EXPECT_EQ(body_of(exchange("3")), std::string("\x07\x00\x00\x00", 4));
  EXPECT_EQ(service.unexpected(), 0u);
  const std::string refused = exchange("4");
  EXPECT_THAT(refused, StartsWith("HTTP/1.1 500 "));
  EXPECT_EQ(body_of(refused), "");
  EXPECT_EQ(service.unexpected(), 1u);
  EXPECT_EQ(service.requests().size(), 4u);
  EXPECT_EQ(service.requests()[3].body, "4");
}

TEST(ServiceDouble, CallsTheResponderWhenTheQueueIsEmpty) {
  ServiceDouble service;
  service.answers(json("queued"));
  service.responds([](const Request& request) { return json("to " + request.body); });
  EXPECT_EQ(body_of(exchange("1")), "queued");
  EXPECT_EQ(body_of(exchange("2")), "to 2");
  EXPECT_EQ(service.unexpected(), 0u);
}

TEST(ServiceDouble, SendsChunks) {
  ServiceDouble service;
  service.answers(json("abcdefghij").chunked(7), json("abcdefghij").with_bad_chunk_length(7));
  const std::string good = exchange("");
  EXPECT_THAT(good, HasSubstr("\r\nTransfer-Encoding: chunked\r\n"));
  EXPECT_EQ(body_of(good), "7\r\nabcdefg\r\n3\r\nhij\r\n0\r\n\r\n");
  EXPECT_EQ(body_of(exchange("")), "7\r\nabcdefg\r\nno length\r\nhij\r\n0\r\n\r\n");
}

TEST(ServiceDouble, SendsWrongLengthsAndTruncatedBodies) {
  ServiceDouble service;
  service.answers(json("abcdef").announcing(9), json("abcdef").cut_after(4));
  EXPECT_THAT(exchange(""), EndsWith("Content-Length: 9\r\n\r\nabcdef"));
  EXPECT_THAT(exchange(""), EndsWith("Content-Length: 6\r\n\r\nabcd"));
}

TEST(ServiceDouble, SendsAnyStatusAndHeader) {
  ServiceDouble service;
  service.answers(json("x").status(404, "Not Found").header("X-More", "yes"), Answer::redirect("/elsewhere"),
                  json("late").with_continue(), Answer::raw("no http"));
  const std::string answer = exchange("");
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 404 Not Found\r\n"));
  EXPECT_THAT(answer, HasSubstr("\r\nX-More: yes\r\n"));
  EXPECT_THAT(exchange(""), HasSubstr("\r\nLocation: /elsewhere\r\n"));
  EXPECT_THAT(exchange(""), StartsWith("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\n"));
  EXPECT_EQ(exchange(""), "no http");
}

TEST(ServiceDouble, ClosesWithoutAnAnswerOrWithAReset) {
  ServiceDouble service;
  service.answers(Answer::nothing(), json("abcdef").cut_after(3).reset());
  EXPECT_EQ(exchange(""), "");
  Client client;
  client.post("");
  int error = 0;
  const std::string answer = client.receive(&error);
  // Wine ends the stream in an orderly way even when the socket is reset.
  EXPECT_THAT(error, testing::AnyOf(0, WSAECONNRESET));
  if (error == 0) {
    EXPECT_THAT(answer, EndsWith("\r\n\r\nabc"));
  }
}

TEST(ServiceDouble, DelaysAnswers) {
  ServiceDouble service;
  service.answers(json("x").after(150ms), json("x").split(4, 50ms), json("x").slowly(1ms));
  for (int i = 0; i < 3; ++i) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(body_of(exchange("")), "x");
    EXPECT_GE(std::chrono::steady_clock::now() - start, i == 2 ? 60ms : 140ms);
  }
}

TEST(ServiceDouble, ServesSixteenClientsAtOnce) {
  constexpr size_t kClients = 16;
  ServiceDouble service;
  std::set<std::string> expected, answered;
  for (size_t i = 0; i < kClients; ++i) {
    service.answers(json("answer " + std::to_string(i)).after(100ms));
    expected.insert("answer " + std::to_string(i));
  }
  std::array<std::string, kClients> answers;
  const auto start = std::chrono::steady_clock::now();
  std::vector<std::thread> threads;
  for (std::string& answer : answers) threads.emplace_back([&answer] { answer = body_of(exchange("?")); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
  answered.insert(answers.begin(), answers.end());
  EXPECT_EQ(answered, expected);
  EXPECT_EQ(service.connections(), kClients);
}

TEST(ServiceDouble, LeaksNoHandleOfAServedClient) {
  ServiceDouble service;
  service.responds([](const Request&) { return json("x"); });
  const auto serve = [](int clients) {
    for (int i = 0; i < clients; ++i) exchange("");
  };
  serve(10);
  const size_t before = open_handles();
  serve(100);
  EXPECT_NEAR(static_cast<double>(open_handles()), static_cast<double>(before), 6);
}

TEST(ServiceDouble, StopsWhileServingAndFreesThePort) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 20; ++i) {
    ServiceDouble service;
    service.answers(json("too late").after(1h));
    Client waiting, silent;
    EXPECT_TRUE(waiting.connected());
    EXPECT_TRUE(silent.connected());
    waiting.post("");
    service.take_request();
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, 4s);
  const ServiceDouble service;
  EXPECT_TRUE(Client().connected());
}

}  // namespace

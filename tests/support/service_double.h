// A scripted local service in the test program, on 127.0.0.1:55661. It records every request and plays the
// queued answers in the order in which requests arrive, each answer once. It serves several connections
// concurrently.
//
//   ServiceDouble service;
//   service.answers(json(R"({"ErrorCode":"0"})"), frame(0, "data"));
//   ... the calls ...
//   EXPECT_EQ(service.take_request().body, R"({"funcid":58})");
//
// A request without an answer gets status 500 with no body and is counted as unexpected.
#pragma once

#include <winsock2.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/answer.h"
#include "support/http_request.h"

namespace velm::test {

class ServiceDouble {
 public:
  static constexpr uint16_t kPort = 55661;
  using Responder = std::function<Answer(const Request&)>;

  ServiceDouble();
  ~ServiceDouble();
  ServiceDouble(const ServiceDouble&) = delete;
  ServiceDouble& operator=(const ServiceDouble&) = delete;

  template <class... Answers>
  void answers(Answers... answers) {
    (queue(std::move(answers)), ...);
  }

  // Called for the answer when the queue is empty, possibly on several threads concurrently.
  void responds(Responder responder);

  // All requests so far.
  std::vector<Request> requests() const;

  // Returns the oldest request that was not taken yet. Fails the test if none arrives within 5 s.
  Request take_request();

  size_t unexpected() const;   // requests without an answer
  size_t unplayed() const;     // answers not used by any request
  size_t connections() const;  // accepted connections, with or without a request

 private:
  // One client connection, served by its own thread, which closes the socket when it has finished.
  struct Connection {
    SOCKET socket;
    std::thread thread;
  };

  void queue(Answer answer);
  void accept_clients();
  void join_served_connections();
  void serve(SOCKET socket);
  bool receive(SOCKET socket, Request& request);
  Answer answer_to(const Request& request);
  void play(SOCKET socket, const Answer& answer);
  void wait(Milliseconds time);

  SOCKET listener_ = INVALID_SOCKET;
  WSAEVENT connecting_ = nullptr;
  WSAEVENT stopping_ = nullptr;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  bool stopped_ = false;
  std::deque<Answer> answers_;
  Responder responder_;
  std::vector<Request> requests_;
  size_t taken_ = 0;
  size_t unexpected_ = 0;
  size_t accepted_ = 0;
  std::list<Connection> connections_;

  std::thread acceptor_;
};

}  // namespace velm::test

// A scripted local service in the test program, on 127.0.0.1:55661. It keeps every request and plays the
// answers that the test has queued, each once, in the order in which requests arrive; several connections at
// a time are served.
//
//   ServiceDouble service;
//   service.answers(json(R"({"ErrorCode":"0"})"), frame(0, "data"));
//   ... the calls ...
//   EXPECT_EQ(service.take_request().body, R"({"funcid":58})");
//
// A request that finds no answer gets status 500 without a body, and counts as unexpected.
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

  // Asked for the answer when the queue is empty; called on several threads at once.
  void responds(Responder responder);

  // Every request so far.
  std::vector<Request> requests() const;

  // The oldest request not taken yet; waits for one up to 5 s, then fails the test.
  Request take_request();

  size_t unexpected() const;   // requests that found no answer
  size_t unplayed() const;     // answers that no request has taken
  size_t connections() const;  // connections accepted, with or without a request on them

 private:
  // One client's connection, served by its own thread; the socket is gone when it has been served.
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

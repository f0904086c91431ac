#pragma once

#include <list>

#include "softtoken/service/byte_budget.h"
#include "softtoken/service/call_threads.h"
#include "softtoken/service/http_server.h"
#include "softtoken/service/http_stream.h"
#include "softtoken/service/request_rules.h"

namespace velm::token {

/** What all connections share. */
struct ConnectionContext {
  Service& service;
  HttpOptions options;
  RequestRules rules;
  ByteBudget& budget;
  CallThreads& long_calls;
};

/**
 * A connection. All of it runs on the thread of its socket, except for long calls, which would delay the
 * other connections of the thread. It also ends there, so the list of open connections needs no lock.
 */
class HttpConnection {
 public:
  using Clock = HttpStream::Clock;
  template <typename T>
  using Awaitable = boost::asio::awaitable<T>;

  /** @param open The open connections of the thread, to which this one belongs during its life. */
  HttpConnection(boost::asio::ip::tcp::socket socket, ConnectionContext& context,
                 std::list<HttpConnection*>& open);
  HttpConnection(const HttpConnection&) = delete;
  ~HttpConnection() { open_.erase(place_); }

  /** Answers requests until the connection ends. */
  Awaitable<void> serve();
  /** Ends the connection if the client is late. */
  void close_if_late(Clock::time_point now) { stream_.close_if_late(now); }

 private:
  struct Request;

  Awaitable<bool> serve_request();
  Awaitable<bool> read_head(Request& request);
  Awaitable<Answer> answer(Request& request, ByteBudget::Claim& share);
  Awaitable<void> read_sized_body(Request& request, ByteBudget::Claim& share, RequestBody& body);
  Awaitable<void> read_chunked_body(Request& request, ByteBudget::Claim& share, RequestBody& body);
  boost::system::error_code take_chunks(Request& request, RequestBody& body);
  Awaitable<void> await_share(ByteBudget::Claim& share, size_t body_size);
  Awaitable<void> confirm_expectation(Request& request);
  Awaitable<Answer> call(const Request& request, RequestBody& body);
  Awaitable<void> send(const Request& request, const Answer& answer, bool keep);

  HttpStream stream_;
  ConnectionContext& context_;
  std::list<HttpConnection*>& open_;
  std::list<HttpConnection*>::iterator place_;
};

}  // namespace velm::token

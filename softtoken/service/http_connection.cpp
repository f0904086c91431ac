#include "softtoken/service/http_connection.h"

#include <algorithm>
#include <cstdio>

#include <boost/asio/buffer.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/span_body.hpp>
#include <boost/beast/http/write.hpp>
#ifndef _WIN32
#include <netinet/tcp.h>
#endif

#include "softtoken/service/call_duration.h"

namespace velm::token {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;

// WinHTTP sends headers and body separately. On a reused connection the body waits for the ACK of the
// headers, 40 ms with delayed ACKs. Only Linux can disable these; elsewhere a connection serves one request.
#ifdef TCP_QUICKACK
constexpr bool kAcknowledgesAtOnce = true;
#else
constexpr bool kAcknowledgesAtOnce = false;
#endif
// Longest silence between two requests.
constexpr std::chrono::seconds kSilentTime{5};
constexpr const char* kKeepAlive = "timeout=5";
// Longest silence of a client whose request is refused while it still sends it.
constexpr std::chrono::milliseconds kDrainTime{300};
// Interval at which a request asks whether it has got its share of memory.
constexpr std::chrono::milliseconds kTurnInterval{10};
constexpr size_t kHeadLimit = 16384;
// By how much an answer may exceed the body of its request: a signature, certificates, and their encoding.
constexpr size_t kAnswerOverhead = 16384;
// The most that one read takes, so that other connections of the thread get their turn.
constexpr size_t kReadSize = 262144;
constexpr auto kNever = HttpConnection::Clock::time_point::max();

static_assert(2 * kSmallBody + kAnswerOverhead == ByteBudget::kSmallShare);

/** Ends the processing of a request with this HTTP status. */
struct Refusal {
  int status;
};

/** The client disconnected or did not keep to its time limit. */
struct ConnectionLost {};

std::string_view view_of(boost::beast::string_view text) { return {text.data(), text.size()}; }

}  // namespace

/** The request that a connection serves. */
struct HttpConnection::Request {
  Request() {
    parser.header_limit(kHeadLimit);
    parser.body_limit(boost::none);  // read_body() has its own limit
  }

  void describe() {
    const auto& fields = parser.get();
    head = {.method = view_of(fields.method_string()),
            .target = view_of(fields.target()),
            .host = fields.count(http::field::host) == 1 ? view_of(fields[http::field::host]) : "",
            .content_type = view_of(fields[http::field::content_type]),
            .has_origin = fields.count(http::field::origin) > 0,
            .has_body = parser.chunked() || parser.content_length().value_or(0) > 0};
  }

  http::request_parser<http::buffer_body> parser;
  RequestHead head;
};

HttpConnection::HttpConnection(asio::ip::tcp::socket socket, ConnectionContext& context,
                               std::list<HttpConnection*>& open)
    : socket_(std::move(socket)),
      context_(context),
      open_(open),
      place_(open.insert(open.end(), this)),
      deadline_(Clock::now() + context.options.request_time) {}

void HttpConnection::close_if_late(Clock::time_point now) {
  error_code ignored;
  if (now >= deadline_) socket_.close(ignored);
}

HttpConnection::Awaitable<void> HttpConnection::serve() {
  try {
    // Without this the last segment of a large answer waits for the ACK of the one before.
    error_code ignored;
    socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
    while (co_await serve_request()) deadline_ = Clock::now() + kSilentTime;
  } catch (const ConnectionLost&) {
  } catch (const std::exception& error) {
    std::fprintf(stderr, "velm_softtoken: connection closed: %s\n", error.what());
  }
}

// Returns whether the connection remains open for another request.
HttpConnection::Awaitable<bool> HttpConnection::serve_request() {
  Request request;
  int refused = 0;
  try {
    if (!co_await read_head(request)) co_return false;
    refused = context_.rules.refusal(request.head);
    if (refused == 0) {
      ByteBudget::Claim share(context_.budget);
      const Answer answered = co_await answer(request, share);
      const bool keep = kAcknowledgesAtOnce && answered.status == 200 && request.parser.keep_alive();
      co_await send(request, answered, keep);
      if (answered.status != 200) co_await drain();
      co_return keep;
    }
  } catch (const Refusal& refusal) {
    refused = refusal.status;
  }
  const Answer refusal = refusal_answer(refused, request.head);
  co_await send(request, refusal, false);
  co_await drain();
  co_return false;
}

// Returns false if the client ends the connection between two requests.
HttpConnection::Awaitable<bool> HttpConnection::read_head(Request& request) {
  bool begun = false;
  while (true) {
    const std::span<const char> arrived = input_.arrived();
    if (!arrived.empty()) {
      if (!begun) deadline_ = Clock::now() + context_.options.request_time;
      begun = true;
      error_code error;
      input_.consume(request.parser.put(asio::buffer(arrived.data(), arrived.size()), error));
      if (!error) break;
      if (error == http::error::header_limit) throw Refusal{431};
      if (error != http::error::need_more) throw Refusal{400};
      acknowledge_at_once();
    }
    const std::span<char> room = input_.room();
    if (room.empty()) throw Refusal{431};
    const size_t count = co_await receive(room);
    if (count == 0 && !begun) co_return false;
    if (count == 0) throw ConnectionLost{};
    input_.received(count);
  }
  request.describe();
  co_return true;
}

HttpConnection::Awaitable<Answer> HttpConnection::answer(Request& request, ByteBudget::Claim& share) {
  if (asks_for_trace(request.head)) {
    const std::string trace = context_.service.trace.text();
    co_return Answer{200, "text/plain", SecretText(trace)};
  }
  RequestBody body;
  if (request.parser.chunked()) {
    co_await read_chunked_body(request, share, body);
  } else {
    co_await read_sized_body(request, share, body);
  }
  deadline_ = kNever;
  Answer answered = co_await call(request, body);
  body.clear();
  if (!share.resize(answered.body.size())) throw Refusal{503};
  co_return answered;
}

HttpConnection::Awaitable<void> HttpConnection::read_sized_body(Request& request, ByteBudget::Claim& share,
                                                                RequestBody& body) {
  const uint64_t size = request.parser.content_length().value_or(0);
  if (size > context_.options.body_limit) throw Refusal{413};
  co_await await_share(share, size);
  co_await confirm_expectation(request);
  body.make_room(size);
  const std::span<const char> begin = input_.arrived().first(std::min(size, input_.arrived().size()));
  std::ranges::copy(begin, body.room().begin());
  body.received(begin.size());
  input_.consume(begin.size());
  while (!body.room().empty()) {
    acknowledge_at_once();
    const size_t count = co_await receive(body.room());
    if (count == 0) throw ConnectionLost{};
    body.received(count);
  }
}

// The memory grows with the body, because its size is not announced.
HttpConnection::Awaitable<void> HttpConnection::read_chunked_body(Request& request, ByteBudget::Claim& share,
                                                                  RequestBody& body) {
  const size_t limit = context_.options.body_limit;
  size_t size = std::min(kSmallBody, limit);
  co_await await_share(share, size);
  co_await confirm_expectation(request);
  body.make_room(size);
  request.parser.eager(true);
  while (!request.parser.is_done()) {
    if (input_.arrived().empty()) co_await receive_more();
    auto& target = request.parser.get().body();
    const std::span<char> room = body.room();
    target.data = room.data();
    target.size = room.size();
    error_code error;
    const std::span<const char> arrived = input_.arrived();
    input_.consume(request.parser.put(asio::buffer(arrived.data(), arrived.size()), error));
    body.received(room.size() - target.size);
    if (error == http::error::need_buffer) {
      if (size == limit) throw Refusal{413};
      size = std::min(2 * size, limit);
      co_await await_share(share, size);
      body.make_room(size);
    } else if (error == http::error::need_more) {
      co_await receive_more();
    } else if (error) {
      throw Refusal{400};
    }
  }
}

// Reserves memory for a body and for its answer.
HttpConnection::Awaitable<void> HttpConnection::await_share(ByteBudget::Claim& share, size_t body_size) {
  if (share.ask(2 * body_size + kAnswerOverhead)) co_return;
  asio::steady_timer pause(socket_.get_executor());
  while (!share.granted()) {
    if (Clock::now() + 2 * kTurnInterval > deadline_) throw Refusal{503};
    pause.expires_after(kTurnInterval);
    co_await pause.async_wait(asio::use_awaitable);
  }
}

HttpConnection::Awaitable<void> HttpConnection::confirm_expectation(Request& request) {
  static constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
  if (!boost::beast::iequals(request.parser.get()[http::field::expect], "100-continue")) co_return;
  error_code error;
  co_await asio::async_write(socket_, asio::buffer(kContinue),
                             asio::redirect_error(asio::use_awaitable, error));
  if (error) throw ConnectionLost{};
}

HttpConnection::Awaitable<Answer> HttpConnection::call(const Request& request, RequestBody& body) {
  const Answering answering = answering_of(request.head);
  if (!takes_long(request.head, {body.text().data(), body.text().size()}))
    co_return answering(context_.service, body);
  const auto long_call = [&]() -> Awaitable<Answer> { co_return answering(context_.service, body); };
  co_return co_await asio::co_spawn(context_.long_calls, long_call, asio::use_awaitable);
}

HttpConnection::Awaitable<void> HttpConnection::send(const Request& request, const Answer& answer,
                                                     bool keep) {
  deadline_ = Clock::now() + context_.options.request_time;
  http::response<http::span_body<const char>> response(
      http::int_to_status(static_cast<unsigned>(answer.status)), request.parser.get().version());
  response.set(http::field::content_type, answer.content_type);
  response.keep_alive(keep);
  if (keep) response.set(http::field::keep_alive, kKeepAlive);
  response.body() = {answer.body.data(), answer.body.size()};
  response.prepare_payload();
  error_code error;
  co_await http::async_write(socket_, response, asio::redirect_error(asio::use_awaitable, error));
  if (error) throw ConnectionLost{};
}

// Closing a socket with unread data resets the connection, and the client may lose the response.
HttpConnection::Awaitable<void> HttpConnection::drain() {
  error_code ignored;
  socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
  const auto end = Clock::now() + context_.options.request_time;
  size_t count = 0;
  do {
    input_.consume(input_.arrived().size());
    deadline_ = std::min(end, Clock::now() + kDrainTime);
    count = co_await receive(input_.room());
    input_.received(count);
  } while (count > 0);
}

// Returns 0 if the connection has ended.
HttpConnection::Awaitable<size_t> HttpConnection::receive(std::span<char> target) {
  error_code error;
  const size_t size = std::min(target.size(), kReadSize);
  const size_t count = co_await socket_.async_read_some(asio::buffer(target.data(), size),
                                                        asio::redirect_error(asio::use_awaitable, error));
  co_return error ? 0 : count;
}

// Adds to the input what belongs to an incomplete request.
HttpConnection::Awaitable<void> HttpConnection::receive_more() {
  const std::span<char> room = input_.room();
  if (room.empty()) throw Refusal{400};
  acknowledge_at_once();
  const size_t count = co_await receive(room);
  if (count == 0) throw ConnectionLost{};
  input_.received(count);
}

// The kernel resets TCP_QUICKACK with each response, so set it again while a request is incomplete.
void HttpConnection::acknowledge_at_once() {
#ifdef TCP_QUICKACK
  const int on = 1;
  setsockopt(socket_.native_handle(), IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
#endif
}

}  // namespace velm::token

#include "softtoken/service/http_connection.h"

#include <algorithm>
#include <cstdio>
#include <exception>

#include <boost/asio/bind_executor.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/span_body.hpp>
#include <boost/beast/http/write.hpp>

#include "softtoken/service/call_duration.h"

namespace velm::token {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;

// Longest silence between two requests.
constexpr std::chrono::seconds kSilentTime{5};
constexpr const char* kKeepAlive = "timeout=5";
// Interval at which a request asks whether it has got its share of memory.
constexpr std::chrono::milliseconds kTurnInterval{10};
constexpr size_t kHeadLimit = 16384;
// Memory that a call needs at most: for each byte of its body (the body, an attached signed message, its
// encoding and the answer), and for signatures and certificates.
constexpr size_t kMemoryPerByte = 4;
constexpr size_t kMemoryPerCall = 16384;
// Bodies up to this size never wait for memory.
constexpr size_t kFreeBody = 4096;

static_assert(kMemoryPerByte * kFreeBody + kMemoryPerCall == ByteBudget::kFreeShare);
static_assert(kMemoryPerByte * kSmallBody + kMemoryPerCall == ByteBudget::kSmallShare);

/** Ends the processing of a request with this HTTP status. */
struct Refusal {
  int status;
};

/** The client disconnected or did not keep to its time limit. */
struct ConnectionLost {};

std::string_view view_of(boost::beast::string_view text) { return {text.data(), text.size()}; }

/** Awaiting this continues the coroutine on a thread of the executor. */
template <typename Executor>
HttpConnection::Awaitable<void> continue_on(Executor executor) {
  return asio::post(asio::bind_executor(executor, asio::use_awaitable));
}

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
            .fetch_site = view_of(fields["Sec-Fetch-Site"]),
            .has_origin = fields.count(http::field::origin) > 0,
            .has_body = parser.chunked() || parser.content_length().value_or(0) > 0};
  }

  http::request_parser<http::buffer_body> parser;
  RequestHead head;
};

HttpConnection::HttpConnection(asio::ip::tcp::socket socket, ConnectionContext& context,
                               std::list<HttpConnection*>& open)
    : stream_(std::move(socket), context.options.request_time),
      context_(context),
      open_(open),
      place_(open.insert(open.end(), this)) {}

HttpConnection::Awaitable<void> HttpConnection::serve() {
  try {
    bool open = true;
    while (open) {
      open = co_await serve_request();
      stream_.limit_to(kSilentTime);
    }
  } catch (const ConnectionLost&) {
  } catch (const std::exception& error) {
    std::fprintf(stderr, "velm_softtoken: connection closed: %s\n", error.what());
  }
}

// Returns whether the connection remains open for another request.
HttpConnection::Awaitable<bool> HttpConnection::serve_request() {
  Request request;
  int refused = 0;
  bool keep = false;
  try {
    const bool begun = co_await read_head(request);
    if (!begun) co_return false;
    refused = context_.rules.refusal(request.head);
    if (refused == 0) {
      ByteBudget::Claim share(context_.budget);
      const Answer answered = co_await answer(request, share);
      keep = HttpStream::kAcknowledgesAtOnce && answered.status == 200 && request.parser.keep_alive();
      co_await send(request, answered, keep);
    }
  } catch (const Refusal& refusal) {
    refused = refusal.status;
  }
  if (refused != 0) {
    const Answer refusal = refusal_answer(refused, request.head);
    co_await send(request, refusal, false);
  }
  // The system has all of the answer, so its memory is free while the client reads it.
  if (!keep) co_await stream_.drain(context_.options.request_time);
  co_return keep;
}

// Returns false if the client ends the connection between two requests.
HttpConnection::Awaitable<bool> HttpConnection::read_head(Request& request) {
  ReceiveBuffer& input = stream_.input();
  bool begun = false;
  error_code error = http::error::need_more;
  while (true) {
    const std::span<const char> arrived = input.arrived();
    if (!arrived.empty()) {
      if (!begun) stream_.limit_to(context_.options.request_time);
      begun = true;
      input.consume(request.parser.put(asio::buffer(arrived.data(), arrived.size()), error));
      if (!error) break;
      if (error == http::error::header_limit || input.room().empty()) throw Refusal{431};
      if (error != http::error::need_more) throw Refusal{400};
      stream_.acknowledge_at_once();
    }
    const bool open = co_await stream_.receive_input();
    if (!open && begun) throw ConnectionLost{};
    if (!open) co_return false;
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
  stream_.lift_limit();
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
  ReceiveBuffer& input = stream_.input();
  const std::span<const char> begin = input.arrived().first(std::min(size, input.arrived().size()));
  std::ranges::copy(begin, body.room().begin());
  body.received(begin.size());
  input.consume(begin.size());
  while (!body.room().empty()) {
    stream_.acknowledge_at_once();
    const size_t count = co_await stream_.receive(body.room());
    if (count == 0) throw ConnectionLost{};
    body.received(count);
  }
}

// The memory grows with the body, because its size is not announced.
HttpConnection::Awaitable<void> HttpConnection::read_chunked_body(Request& request, ByteBudget::Claim& share,
                                                                  RequestBody& body) {
  ReceiveBuffer& input = stream_.input();
  const size_t limit = context_.options.body_limit;
  size_t size = std::min(kFreeBody, limit);
  co_await await_share(share, size);
  co_await confirm_expectation(request);
  body.make_room(size);
  request.parser.eager(true);
  while (true) {
    const error_code error = take_chunks(request, body);
    if (request.parser.is_done()) co_return;
    if (error == http::error::need_buffer) {
      if (size == limit) throw Refusal{413};
      size = std::min(2 * size, limit);
      co_await await_share(share, size);
      body.make_room(size);
    } else if (error == http::error::need_more && !input.room().empty()) {
      stream_.acknowledge_at_once();
      const bool open = co_await stream_.receive_input();
      if (!open) throw ConnectionLost{};
    } else {
      throw Refusal{400};
    }
  }
}

// Moves what has arrived into the body, as far as there is room.
error_code HttpConnection::take_chunks(Request& request, RequestBody& body) {
  ReceiveBuffer& input = stream_.input();
  const std::span<char> room = body.room();
  auto& target = request.parser.get().body();
  target.data = room.data();
  target.size = room.size();
  error_code error = http::error::need_more;
  while (!input.arrived().empty() && !request.parser.is_done()) {
    const asio::const_buffer arrived(input.arrived().data(), input.arrived().size());
    input.consume(request.parser.put(arrived, error));
    if (error) break;
  }
  body.received(room.size() - target.size);
  return error ? error : http::error::need_more;
}

// Reserves memory for a body, its call and the answer. The wait is not counted as time of the client.
HttpConnection::Awaitable<void> HttpConnection::await_share(ByteBudget::Claim& share, size_t body_size) {
  if (share.ask(kMemoryPerByte * body_size + kMemoryPerCall)) co_return;
  const Clock::time_point asked = Clock::now();
  asio::steady_timer pause(stream_.socket().get_executor());
  while (!share.granted()) {
    if (Clock::now() + 2 * kTurnInterval > stream_.deadline()) throw Refusal{503};
    pause.expires_after(kTurnInterval);
    co_await pause.async_wait(asio::use_awaitable);
  }
  stream_.extend_limit(Clock::now() - asked);
}

HttpConnection::Awaitable<void> HttpConnection::confirm_expectation(Request& request) {
  static constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
  if (!boost::beast::iequals(request.parser.get()[http::field::expect], "100-continue")) co_return;
  error_code error;
  co_await asio::async_write(stream_.socket(), asio::buffer(kContinue),
                             asio::redirect_error(asio::use_awaitable, error));
  if (error) throw ConnectionLost{};
}

HttpConnection::Awaitable<Answer> HttpConnection::call(const Request& request, RequestBody& body) {
  const Answering answering = answering_of(request.head);
  const bool is_long = takes_long(request.head, {body.text().data(), body.text().size()});
  if (!is_long) co_return answering(context_.service, body);
  // The answer returns to the connection's thread at once. co_spawn() would queue it behind all other long
  // calls, and their answers would exist at the same time without a share of the budget.
  // The coroutine of the return is allocated before the call: failing then would end the connection on a
  // thread that is not its own.
  Awaitable<void> back = continue_on(stream_.socket().get_executor());
  Answer answered{};
  std::exception_ptr failure;
  co_await continue_on(context_.long_calls.executor());
  try {
    answered = answering(context_.service, body);
  } catch (...) {
    failure = std::current_exception();
  }
  co_await std::move(back);
  if (failure) std::rethrow_exception(failure);
  co_return answered;
}

HttpConnection::Awaitable<void> HttpConnection::send(const Request& request, const Answer& answer,
                                                     bool keep) {
  stream_.limit_to(context_.options.request_time);
  http::response<http::span_body<const char>> response(
      http::int_to_status(static_cast<unsigned>(answer.status)), request.parser.get().version());
  response.set(http::field::content_type, answer.content_type);
  response.keep_alive(keep);
  if (keep) response.set(http::field::keep_alive, kKeepAlive);
  response.body() = {answer.body.data(), answer.body.size()};
  response.prepare_payload();
  error_code error;
  co_await http::async_write(stream_.socket(), response, asio::redirect_error(asio::use_awaitable, error));
  if (error) throw ConnectionLost{};
}

}  // namespace velm::token

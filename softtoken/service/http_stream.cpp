#include "softtoken/service/http_stream.h"

#include <algorithm>

#include <boost/asio/buffer.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace velm::token {
namespace {

namespace asio = boost::asio;
using boost::system::error_code;

// The most that one read takes, so that other connections of the thread get their turn.
constexpr size_t kReadSize = 262144;
// Longest silence of a client that still sends a refused request.
constexpr std::chrono::milliseconds kDrainSilence{300};

}  // namespace

HttpStream::HttpStream(asio::ip::tcp::socket socket, Clock::duration limit)
    : socket_(std::move(socket)), deadline_(Clock::now() + limit) {
  // Without this the last segment of a large answer waits for the ACK of the one before.
  error_code ignored;
  socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
}

void HttpStream::close_if_late(Clock::time_point now) {
  error_code ignored;
  if (now >= deadline_) socket_.close(ignored);
}

HttpStream::Awaitable<size_t> HttpStream::receive(std::span<char> target) {
  error_code error;
  const size_t size = std::min(target.size(), kReadSize);
  const size_t count = co_await socket_.async_read_some(asio::buffer(target.data(), size),
                                                        asio::redirect_error(asio::use_awaitable, error));
  co_return error ? 0 : count;
}

HttpStream::Awaitable<bool> HttpStream::receive_input() {
  const size_t count = co_await receive(input_.room());
  input_.received(count);
  co_return count > 0;
}

// The kernel resets TCP_QUICKACK with each answer.
void HttpStream::acknowledge_at_once() {
#ifdef TCP_QUICKACK
  const int on = 1;
  setsockopt(socket_.native_handle(), IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
#endif
}

// Closing a socket with unread data resets the connection, and the client may lose the answer.
HttpStream::Awaitable<void> HttpStream::drain(Clock::duration limit) {
  error_code ignored;
  socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
  const auto end = Clock::now() + limit;
  bool open = true;
  while (open) {
    input_.consume(input_.arrived().size());
    deadline_ = std::min(end, Clock::now() + kDrainSilence);
    open = co_await receive_input();
  }
}

}  // namespace velm::token

#pragma once

#include <algorithm>
#include <chrono>
#include <span>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#ifndef _WIN32
#include <netinet/tcp.h>
#endif

#include "softtoken/service/receive_buffer.h"

namespace velm::token {

/** The socket of a connection, what has arrived on it, and the time until which the client must act. */
class HttpStream {
 public:
  using Clock = std::chrono::steady_clock;
  // Sic: a condition must not contain co_await. gcc 12 corrupts the coroutine, so its result gets a name.
  template <typename T>
  using Awaitable = boost::asio::awaitable<T>;

  // WinHTTP sends headers and body separately. On a reused connection the body waits for the ACK of the
  // headers, 40 ms with delayed ACKs. Only Linux can disable these.
#ifdef TCP_QUICKACK
  static constexpr bool kAcknowledgesAtOnce = true;
#else
  static constexpr bool kAcknowledgesAtOnce = false;
#endif

  HttpStream(boost::asio::ip::tcp::socket socket, Clock::duration limit)
      : socket_(std::move(socket)), deadline_(Clock::now() + limit) {
    // Without this the last segment of a large answer waits for the ACK of the one before.
    boost::system::error_code ignored;
    socket_.set_option(boost::asio::ip::tcp::no_delay(true), ignored);
  }
  HttpStream(const HttpStream&) = delete;

  boost::asio::ip::tcp::socket& socket() { return socket_; }
  ReceiveBuffer& input() { return input_; }

  /** Until when the client must act; close_if_late() ends the connection then. */
  Clock::time_point deadline() const { return deadline_; }
  void limit_to(Clock::duration limit) { deadline_ = Clock::now() + limit; }
  void extend_limit(Clock::duration more) { deadline_ += more; }
  void lift_limit() { deadline_ = Clock::time_point::max(); }
  void close_if_late(Clock::time_point now) {
    boost::system::error_code ignored;
    if (now >= deadline_) socket_.close(ignored);
  }

  /** Receives bytes of an incomplete request. Returns 0 if the connection has ended. */
  Awaitable<size_t> receive(std::span<char> target) {
    namespace asio = boost::asio;
    boost::system::error_code error;
    const asio::mutable_buffer space(target.data(), std::min(target.size(), kReadSize));
    const size_t count =
        co_await socket_.async_read_some(space, asio::redirect_error(asio::use_awaitable, error));
    co_return error ? 0 : count;
  }

  /** Receives bytes into the input, which must have room. Returns false if the connection has ended. */
  Awaitable<bool> receive_input() {
    const size_t count = co_await receive(input_.room());
    input_.received(count);
    co_return count > 0;
  }

  /** Acknowledges what has arrived of an incomplete request. The kernel resets this with each answer. */
  void acknowledge_at_once() {
#ifdef TCP_QUICKACK
    const int on = 1;
    setsockopt(socket_.native_handle(), IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
#endif
  }

  /**
   * Sends the end of the answers, and discards what the client still sends, for at most this time. Closing a
   * socket with unread data resets the connection, and the client may lose the answer.
   */
  Awaitable<void> drain(Clock::duration limit) {
    boost::system::error_code ignored;
    socket_.shutdown(boost::asio::ip::tcp::socket::shutdown_send, ignored);
    const auto end = Clock::now() + limit;
    bool open = true;
    while (open) {
      input_.consume(input_.arrived().size());
      deadline_ = std::min(end, Clock::now() + kDrainSilence);
      open = co_await receive_input();
    }
  }

 private:
  // The most that one read takes, so that other connections of the thread get their turn.
  static constexpr size_t kReadSize = 262144;
  // Longest silence of a client that still sends a refused request.
  static constexpr std::chrono::seconds kDrainSilence{5};

  boost::asio::ip::tcp::socket socket_;
  Clock::time_point deadline_;
  ReceiveBuffer input_;
};

}  // namespace velm::token

#pragma once

#include <chrono>
#include <span>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>
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

  HttpStream(boost::asio::ip::tcp::socket socket, Clock::duration limit);
  HttpStream(const HttpStream&) = delete;

  boost::asio::ip::tcp::socket& socket() { return socket_; }
  ReceiveBuffer& input() { return input_; }

  /** Until when the client must act; close_if_late() ends the connection then. */
  Clock::time_point deadline() const { return deadline_; }
  void limit_to(Clock::duration limit) { deadline_ = Clock::now() + limit; }
  void lift_limit() { deadline_ = Clock::time_point::max(); }
  void close_if_late(Clock::time_point now);

  /** Receives bytes of an incomplete request. Returns 0 if the connection has ended. */
  Awaitable<size_t> receive(std::span<char> target);
  /** Receives bytes into the input, which must have room. Returns false if the connection has ended. */
  Awaitable<bool> receive_input();
  /** Tells the system to acknowledge what has arrived, because the request is incomplete. */
  void acknowledge_at_once();
  /** Sends the end of the answers, and discards what the client still sends, for at most this time. */
  Awaitable<void> drain(Clock::duration limit);

 private:
  boost::asio::ip::tcp::socket socket_;
  Clock::time_point deadline_;
  ReceiveBuffer input_;
};

}  // namespace velm::token

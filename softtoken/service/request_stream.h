#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include <httplib.h>
#include <openssl/crypto.h>
#ifndef _WIN32
#include <netinet/tcp.h>
#endif

namespace velm::token {

/**
 * The stream of a connection on a non-blocking socket. A complete request must arrive within the time limit,
 * however it is fragmented. The response is buffered until flush(), which has the same time limit.
 */
class RequestStream : public httplib::Stream {
 public:
  using Clock = std::chrono::steady_clock;

  RequestStream(socket_t socket, Clock::duration limit, const std::atomic<bool>& ending)
      : socket_(socket), limit_(limit), deadline_(Clock::now() + limit), ending_(ending) {}
  RequestStream(const RequestStream&) = delete;
  ~RequestStream() override { wipe(arrived_to_); }

  /** Whether delayed ACKs, of about 40 ms, can be disabled. */
#ifdef TCP_QUICKACK
  static constexpr bool kAcknowledgesAtOnce = true;
#else
  static constexpr bool kAcknowledgesAtOnce = false;
#endif

  /** Waits for the next request; returns false if it does not begin within this time. */
  bool await_request(Clock::duration silence);

  bool is_readable() const override;
  bool is_writable() const override { return true; }
  ssize_t read(char* target, size_t size) override;
  ssize_t write(const char* source, size_t size) override;
  /** Sends the buffered response; returns false on an error or a timeout. */
  bool flush();
  /** Whether the buffered response has status 200, which implies that the request was read completely. */
  bool served() const { return answer_.starts_with("HTTP/1.1 200 "); }

  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  socket_t socket() const override { return socket_; }

 private:
  // Interval at which a wait checks for the end of the server.
  static constexpr std::chrono::milliseconds kWaitSlice{200};

  // How long to poll for the next request before sleeping: a client that calls in sequence sends it sooner
  // than a sleeping thread wakes up. Polling yields to other threads.
  static constexpr std::chrono::microseconds kAttentiveTime{60};

  // select_read or select_write of cpp-httplib.
  using Select = ssize_t (*)(socket_t socket, time_t seconds, time_t microseconds);

  bool wait_until(Clock::time_point deadline, Select select) const;
  static bool would_block();
  void acknowledge_at_once() const;
  void wipe(size_t size) { OPENSSL_cleanse(arrived_.data(), size); }

  socket_t socket_;
  Clock::duration limit_;
  Clock::time_point deadline_;
  const std::atomic<bool>& ending_;
  std::array<char, 16384> arrived_;  // wiped after reading: may contain a PIN
  size_t arrived_from_ = 0;
  size_t arrived_to_ = 0;
  std::string answer_;
};

inline bool RequestStream::await_request(Clock::duration silence) {
  wipe(arrived_from_);
  const auto answered = Clock::now();
  bool begun = arrived_from_ < arrived_to_;
  while (!begun && Clock::now() - answered < kAttentiveTime) {
    std::this_thread::yield();
    begun = httplib::detail::select_read(socket_, 0, 0) > 0;
  }
  begun = begun || wait_until(answered + silence, httplib::detail::select_read);
  deadline_ = Clock::now() + limit_;
  return begun;
}

inline bool RequestStream::is_readable() const {
  if (arrived_from_ < arrived_to_) return true;
  acknowledge_at_once();
  return wait_until(deadline_, httplib::detail::select_read);
}

inline bool RequestStream::wait_until(Clock::time_point deadline, Select select) const {
  while (!ending_) {
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now());
    if (left.count() <= 0) return false;
    const auto wait = std::min<std::chrono::microseconds>(left, kWaitSlice);
    const auto ready = select(socket_, 0, static_cast<time_t>(wait.count()));
    if (ready != 0) return ready > 0;
  }
  return false;
}

inline bool RequestStream::would_block() {
#ifdef _WIN32
  return WSAGetLastError() == WSAEWOULDBLOCK;
#else
  return errno == EAGAIN || errno == EWOULDBLOCK;
#endif
}

// The kernel resets TCP_QUICKACK with each response, so set it again while a request is incomplete.
inline void RequestStream::acknowledge_at_once() const {
#ifdef TCP_QUICKACK
  const int on = 1;
  setsockopt(socket_, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
#endif
}

inline ssize_t RequestStream::read(char* target, size_t size) {
  // The client may wait for "100 Continue" before it sends the body.
  if (!answer_.empty() && !flush()) return -1;
  if (!is_readable()) return -1;
  if (arrived_from_ == arrived_to_) {
    wipe(arrived_to_);
    const ssize_t count = httplib::detail::read_socket(socket_, arrived_.data(), arrived_.size(), 0);
    if (count <= 0) return count;
    arrived_from_ = 0;
    arrived_to_ = static_cast<size_t>(count);
  }
  const size_t count = std::min(size, arrived_to_ - arrived_from_);
  std::memcpy(target, arrived_.data() + arrived_from_, count);
  arrived_from_ += count;
  return static_cast<ssize_t>(count);
}

inline ssize_t RequestStream::write(const char* source, size_t size) {
  answer_.append(source, size);
  return static_cast<ssize_t>(size);
}

inline bool RequestStream::flush() {
  const auto deadline = Clock::now() + limit_;
  for (size_t sent = 0; sent < answer_.size();) {
    const ssize_t count = httplib::detail::send_socket(socket_, answer_.data() + sent, answer_.size() - sent,
                                                       CPPHTTPLIB_SEND_FLAGS);
    if (count > 0) {
      sent += static_cast<size_t>(count);
    } else if (!would_block() || !wait_until(deadline, httplib::detail::select_write)) {
      return false;
    }
  }
  answer_.clear();
  return true;
}

inline void RequestStream::get_remote_ip_and_port(std::string& ip, int& port) const {
  httplib::detail::get_remote_ip_and_port(socket_, ip, port);
}

inline void RequestStream::get_local_ip_and_port(std::string& ip, int& port) const {
  httplib::detail::get_local_ip_and_port(socket_, ip, port);
}

}  // namespace velm::token

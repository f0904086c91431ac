#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstring>
#include <string>

#include <httplib.h>

namespace velm::token {

/**
 * One connection, as the HTTP server reads and writes it. The whole request has to arrive before a deadline,
 * however its bytes are spread, and the answer leaves in one piece by flush().
 */
class RequestStream : public httplib::Stream {
 public:
  using Clock = std::chrono::steady_clock;

  RequestStream(socket_t socket, Clock::duration limit, const std::atomic<bool>& ending)
      : socket_(socket), deadline_(Clock::now() + limit), ending_(ending) {}

  bool is_readable() const override;
  bool is_writable() const override { return true; }
  ssize_t read(char* target, size_t size) override;
  ssize_t write(const char* source, size_t size) override;
  bool flush();
  /** Whether the answer so far is one to a request that was served, and so read to its end. */
  bool served() const { return answer_.starts_with("HTTP/1.1 200 "); }

  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  socket_t socket() const override { return socket_; }

 private:
  // How long one wait lasts before the server's own end is looked at.
  static constexpr std::chrono::milliseconds kWaitSlice{200};

  socket_t socket_;
  Clock::time_point deadline_;
  const std::atomic<bool>& ending_;
  std::array<char, 16384> arrived_;
  size_t arrived_from_ = 0;
  size_t arrived_to_ = 0;
  std::string answer_;
};

inline bool RequestStream::is_readable() const {
  if (arrived_from_ < arrived_to_) return true;
  while (!ending_) {
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(deadline_ - Clock::now());
    if (left.count() <= 0) return false;
    const auto wait = std::min<std::chrono::microseconds>(left, kWaitSlice);
    const auto ready = httplib::detail::select_read(socket_, 0, static_cast<time_t>(wait.count()));
    if (ready != 0) return ready > 0;
  }
  return false;
}

inline ssize_t RequestStream::read(char* target, size_t size) {
  if (!is_readable()) return -1;
  if (arrived_from_ == arrived_to_) {
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
  for (size_t sent = 0; sent < answer_.size();) {
    const ssize_t count = httplib::detail::send_socket(
        socket_, answer_.data() + sent, answer_.size() - sent, CPPHTTPLIB_SEND_FLAGS);
    if (count <= 0) return false;
    sent += static_cast<size_t>(count);
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

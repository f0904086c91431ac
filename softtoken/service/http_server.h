#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace velm::token {

struct Service;

struct HttpOptions {
  uint16_t port = 55661;
  /** Largest request body, in bytes. */
  size_t body_limit = size_t{64} * 1024 * 1024;
  /** Time within which a request has to arrive whole. */
  std::chrono::milliseconds request_time{10000};
};

/** The service on 127.0.0.1. */
class HttpServer {
 public:
  HttpServer(Service& service, HttpOptions options);
  ~HttpServer();

  /** Takes the port (port 0: any free one) and returns it; throws std::runtime_error when it is not free. */
  uint16_t bind();
  /** Answers requests until stop() is called from another thread or a signal handler's thread. */
  void run();
  void stop();

 private:
  class Server;
  std::unique_ptr<Server> server_;
};

}  // namespace velm::token

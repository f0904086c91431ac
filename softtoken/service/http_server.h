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
  /** Time limit for receiving a complete request. */
  std::chrono::milliseconds request_time{10000};
};

/** The local service on 127.0.0.1. */
class HttpServer {
 public:
  HttpServer(Service& service, HttpOptions options);
  ~HttpServer();

  /** Binds the port (0: any free port) and returns it; throws std::runtime_error if it is in use. */
  uint16_t bind();
  /** Answers requests until another thread calls stop(). */
  void run();
  void stop();

 private:
  class Server;
  std::unique_ptr<Server> server_;
};

}  // namespace velm::token
